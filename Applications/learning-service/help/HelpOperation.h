// Answers questions in plain words.

#pragma once

#include "envelope/EnvelopeOperation.h"
#include "help/Conversations.h"
#include "help/Guide.h"

namespace Service {

/// "textToHelp": the section of the user guide that fits "prompt" best, or what the guide is about.
class HelpOperation : public EnvelopeOperation {
public:
    HelpOperation(const Credentials& credentials, Conversations& conversations)
        : EnvelopeOperation({{"prompt"}, {"session"}}, credentials),
          m_conversations(conversations) {}

private:
    Response Answer(const Envelope& envelope) const override;

    Conversations& m_conversations;
    Guide m_guide{GuideText};
};

}  // namespace Service
