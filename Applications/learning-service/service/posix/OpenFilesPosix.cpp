#include "service/OpenFiles.h"

#include <sys/resource.h>

#include <algorithm>

namespace Service {

bool AllowOpenFiles(std::size_t count) noexcept {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < count) {  // the limit that one may raise is usually 1024
        limit.rlim_cur = std::min<rlim_t>(count, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    return limit.rlim_cur >= count;
}

}  // namespace Service
