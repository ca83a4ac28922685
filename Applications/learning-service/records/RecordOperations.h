// The reports of clients, and hints from earlier ones.

#pragma once

#include "envelope/EnvelopeOperation.h"
#include "help/Conversations.h"
#include "records/RecordBook.h"

namespace Service {

/// "recordMCPHint": keeps "hint", without the request's credentials if they are in it.
class RecordHintOperation : public EnvelopeOperation {
public:
    RecordHintOperation(const Credentials& credentials, RecordBook& records)
        : EnvelopeOperation({{"hint"}}, credentials), m_records(records) {}

private:
    Response Answer(const Envelope& envelope) const override;

    RecordBook& m_records;
};

/// "reportMCPIssue": keeps "issue" and "code" in the same manner.
class ReportIssueOperation : public EnvelopeOperation {
public:
    ReportIssueOperation(const Credentials& credentials, RecordBook& records)
        : EnvelopeOperation({{"issue"}, {"code"}}, credentials), m_records(records) {}

private:
    Response Answer(const Envelope& envelope) const override;

    RecordBook& m_records;
};

/// "textToMCPHints": hints that were recorded and fit "prompt", a line each; if none does, some
/// about the commands of the program `learning`.
class HintsOperation : public EnvelopeOperation {
public:
    HintsOperation(const Credentials& credentials, Conversations& conversations,
                   const RecordBook& records);

private:
    Response Answer(const Envelope& envelope) const override;

    Conversations& m_conversations;
    const RecordBook& m_records;
    HintBook m_hints;  // that are compiled in
};

}  // namespace Service
