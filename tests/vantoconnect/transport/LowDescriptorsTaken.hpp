#pragma once

// Shared by the transport and resilient suites: select() watches descriptors below 1024 only.

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace vantoconnect::testing {

// Takes every free descriptor below 1024 while it lives, so the next socket gets a larger one.
class LowDescriptorsTaken {
  public:
    // Raises the soft limit so that the process may hold `count` descriptors; false when the
    // hard limit forbids it, and the test should be skipped.
    static bool allow(rlim_t count) {
        rlimit limit{};
        if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_max < count) {
            return false;
        }
        limit.rlim_cur = std::max(limit.rlim_cur, count);
        return ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
    }

    LowDescriptorsTaken() {
        int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        while (fd >= 0 && fd < 1024) {
            taken.push_back(fd);
            fd = ::fcntl(taken.front(), F_DUPFD_CLOEXEC, 0);
        }
        if (fd >= 0) {
            ::close(fd);
        }
    }
    ~LowDescriptorsTaken() {
        for (int fd : taken) {
            ::close(fd);
        }
    }
    LowDescriptorsTaken(const LowDescriptorsTaken&) = delete;
    LowDescriptorsTaken& operator=(const LowDescriptorsTaken&) = delete;

    void release(std::size_t count) {
        for (std::size_t k = 0; k < count && !taken.empty(); ++k) {
            ::close(taken.back());
            taken.pop_back();
        }
    }

  private:
    std::vector<int> taken;
};

}  // namespace vantoconnect::testing
