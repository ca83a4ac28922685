// Why the service does not do what a well-formed request asks for.

#pragma once

#include <stdexcept>

namespace Service {

/// Thrown with the code that clients know: the answer is 200 and {"error": code}.
class Rejection : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Codes of this service. Clients take those that they do not know for an unknown error.
namespace Code {
inline constexpr const char* ClientTooOld = "CLIENT_INSUFFICIENT";
inline constexpr const char* UnfitPicture = "REQUEST_INSUFFICIENT";
inline constexpr const char* Busy = "TEMPORARILY_UNAVAILABLE";
inline constexpr const char* NoSuchGeneration = "GENERATION_UNKNOWN";
inline constexpr const char* NoSuchUpload = "UPLOAD_UNKNOWN";
inline constexpr const char* NothingUploaded = "UPLOAD_MISSING";
}  // namespace Code

}  // namespace Service
