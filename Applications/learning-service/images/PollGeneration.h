// Asking for the pictures of a job.

#pragma once

#include "envelope/EnvelopeOperation.h"
#include "jobs/Job.h"

namespace Service {

/// "pollGeneration": for the "generation_id" J:i the address of picture i of job J, in "images";
/// before it is done, {"status": "PENDING"}. Picture 0 comes with the "prompt" that was used
/// instead of the one asked with, if there is such.
class PollGenerationOperation : public EnvelopeOperation {
public:
    PollGenerationOperation(const Credentials& credentials, Studio& studio)
        : EnvelopeOperation({{"generation_id"}}, credentials), m_studio(studio) {}

private:
    Response Answer(const Envelope& envelope) const override;

    Studio& m_studio;
};

}  // namespace Service
