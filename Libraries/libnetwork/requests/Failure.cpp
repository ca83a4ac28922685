#include "requests/Failure.h"

#include "Kernel/IoException.h"

namespace Network {

Kernel::String NoteThrown(const std::exception_ptr& thrown, Http::Response& response) {
    response.reason = Http::FailureReason::Local;
    try {
        std::rethrow_exception(thrown);
    } catch (const Http::Exception& error) {
        response.reason = error.GetReason();
        return error.what();
    } catch (const Kernel::IoException& error) {
        response.error = error.GetCode();
        return error.what();
    } catch (const std::system_error& error) {
        response.error = error.code();
        return error.what();
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {  // a callback may throw any type
        return "a callback failed";
    }
}

}  // namespace Network
