#include "inference/windows/ComObjects.h"

#include "Kernel/Format.h"
#include "Kernel/IoException.h"
#include "Learning/PlatformError.h"

#include <system_error>

namespace Learning {

void CheckResult(HRESULT result) {
    if (SUCCEEDED(result)) {
        return;
    }
    const bool isOfSystem = HRESULT_FACILITY(result) == FACILITY_WIN32;
    const std::error_code code(isOfSystem ? HRESULT_CODE(result) : static_cast<int>(result),
                               std::system_category());
    throw PlatformError(result, Kernel::Format("Windows can't supply the execution providers: %1",
                                               Kernel::DescribeError(code)));
}

}  // namespace Learning
