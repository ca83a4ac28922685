#include "service/RequestLog.h"

#include "Kernel/Utf.h"

#include "time/LocalTime.h"

#include <chrono>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace Service {

namespace {

std::string GetTime() {
    return FormatLocalTime(std::chrono::system_clock::now());
}

/// "404" of "HTTP/1.1 404 Not Found".
std::string_view GetStatus(std::string_view statusLine) {
    if (statusLine.empty()) {
        return "-";
    }
    const std::size_t blank = statusLine.find(' ');
    return statusLine.starts_with("HTTP/") && blank != std::string_view::npos
               ? statusLine.substr(blank + 1, 3)
               : "???";
}

}  // namespace

void RequestLog::Write(const Server::Exchange& exchange) {
    const Server::Request& request = exchange.request;
    const bool isRead = !request.method.empty();
    const std::chrono::duration<double, std::milli> duration = exchange.duration;
    std::ostringstream line;
    line << GetTime() << ' ' << request.peer << ' ' << (request.isOverTls ? "https " : "http ")
         << (isRead ? request.method : "-") << ' ' << (isRead ? request.target : "-") << ' '
         << GetStatus(exchange.statusLine) << ' ' << exchange.bytesSent << " bytes " << std::fixed
         << std::setprecision(1) << duration.count() << " ms";
    if (!exchange.problem.empty()) {
        line << " (" << exchange.problem << ')';
    }
    WriteLine(line.str());
}

void RequestLog::WriteEvent(std::string_view text) {
    WriteLine(GetTime() + " " + std::string(text));
}

void RequestLog::WriteLine(std::string_view text) {
    const std::lock_guard lock(m_mutex);
    m_out.clear();
    if (m_lostLines > 0) {
        m_out << GetTime() << " (lines lost here: " << m_lostLines << ")\n";
    }
    m_out << Kernel::MakePrintableLines(text).c_str() << std::endl;
    if (m_out) {
        m_lostLines = 0;
    } else if (++m_lostLines == 1) {
        m_err << "learning-service: the log can't be written; the service goes on" << std::endl;
    }
}

}  // namespace Service
