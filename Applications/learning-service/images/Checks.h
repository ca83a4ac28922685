// Checks that the operations on pictures have in common.

#pragma once

#include "codecs/PictureFiles.h"
#include "envelope/Envelope.h"
#include "jobs/Job.h"
#include "operations/Response.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace Service {

// They throw Refusal (400) for requests that are malformed, and Rejection for those that are not,
// but can't be done.

/// The integer `key`, which lies in a range.
int TakeInteger(const Envelope& envelope, std::string_view key, std::int64_t least,
                std::int64_t most);
/// The number `key`, 0..1.
double TakeShare(const Envelope& envelope, std::string_view key);
/// The bytes that `key` has as base64 text, which must not be empty.
std::string TakeBytes(const Envelope& envelope, std::string_view key);
/// The JPEG file that `key` has as base64 text.
PicturePointer TakeJPEG(const Envelope& envelope, std::string_view key);
/// The text `key`, which has up to 16 KiB.
const std::string& TakeText(const Envelope& envelope, std::string_view key);
/// The same, which must not be empty, and passes the content filter.
const std::string& TakePrompt(const Envelope& envelope, std::string_view key);

/// The rejection of `prompt` by the content filter, a code of the service; null for none. The
/// filter knows a few words for each code, so that users can see all of them.
const char* FilterPrompt(std::string_view prompt);

/// Where the client has found the service. Throws Refusal if its request does not tell.
const std::string& TakeOrigin(const Envelope& envelope);

/// Accepts a job for `operation`: the answer of {"generation_id": ...}. `size` is what it takes.
Response AcceptJob(Studio& studio, const char* operation, Job job, std::size_t size);

}  // namespace Service
