#include "faults/Answer.h"

#include "Server/Request.h"

namespace Service {

Answer MakeAnswer(const Request& request, const Response& response) {
    Answer answer;
    answer.target = request.target;
    answer.statusLine = FormatStatusLine(response.status);
    answer.headers = response.headers;
    answer.hasBody = request.method != "HEAD" && response.status != 304;
    if (response.status != 304) {
        answer.headers.emplace_back("Content-Length", std::to_string(response.body.GetSize()));
    }
    answer.headers.emplace_back("Connection", "close");
    if (answer.hasBody) {
        answer.body = {response.body};
    }
    return answer;
}

Script MakeScript(const Answer& answer) {
    constexpr std::chrono::milliseconds Pause{100};
    Script script{Wait{answer.delay}, Send{FormatHead(answer.statusLine, answer.headers)}};
    std::uint64_t rest = answer.limit;
    for (const Content& piece : answer.body) {
        const Content part = piece.Slice(0, rest);
        rest -= part.GetSize();
        script.push_back(answer.pace > 0 ? Step(Drip{part, answer.pace, Pause}) : Send{part});
    }
    script.insert(script.end(), answer.ending.begin(), answer.ending.end());
    return script;
}

}  // namespace Service
