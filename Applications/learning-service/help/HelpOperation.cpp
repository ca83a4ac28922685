#include "help/HelpOperation.h"

namespace Service {

Response HelpOperation::Answer(const Envelope& envelope) const {
    const Query query = m_conversations.Ask(envelope.Get("session"), envelope.Get("prompt"));
    if (const Guide::Section* const section = m_guide.Find(query)) {
        return AnswerText(section->title + "\n\n" + section->body);
    }
    std::string topics;
    for (const Guide::Section& section : m_guide.GetSections()) {
        topics += (topics.empty() ? "" : "; ") + section.title;
    }
    return AnswerText(
        "The user guide has nothing that fits this question. Its topics are: " + topics + ".");
}

}  // namespace Service
