#include "faults/Answer.h"

#include "Server/Request.h"

namespace Service {

Answer MakeAnswer(const Server::Request& request, const Response& response) {
    Answer answer;
    answer.target = request.target;
    answer.statusLine = Server::FormatStatusLine(response.status);
    answer.headers = response.headers;
    answer.hasBody = request.method != "HEAD" && response.status != 304;
    if (response.status != 304) {
        answer.headers.emplace_back("Content-Length", std::to_string(response.body.GetSize()));
    }
    if (request.isLast) {
        answer.headers.emplace_back("Connection", "close");
    } else {
        answer.ending = {Server::Keep{}};
    }
    if (answer.hasBody) {
        answer.body = {response.body};
    }
    return answer;
}

Server::Script MakeScript(const Answer& answer) {
    constexpr std::chrono::milliseconds Pause{100};
    const std::string head = Server::FormatHead(answer.statusLine, answer.headers);
    Server::Script script{Server::Wait{answer.delay}, Server::Send{head}};
    std::uint64_t rest = answer.limit;
    for (const Server::Content& piece : answer.body) {
        const Server::Content part = piece.Slice(0, rest);
        rest -= part.GetSize();
        script.push_back(answer.pace > 0 ? Server::Step(Server::Drip{part, answer.pace, Pause})
                                         : Server::Send{part});
    }
    script.insert(script.end(), answer.ending.begin(), answer.ending.end());
    return script;
}

}  // namespace Service
