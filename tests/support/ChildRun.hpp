#pragma once

// Runs a piece of work in a forked child process and hands its result back through a pipe.
// The library's process-wide state (the printer queue, descriptors it leaves open, a fatal edge
// on one of its threads) then ends with the child, and the parent can tell how it ended.

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>
#include <type_traits>

namespace vantoconnect::testing {

template <class T>
struct ChildResult {
    T value{};              // value-initialised when the child died before answering
    bool survived = false;  // the child exited normally, after lingering
};

// `work` returns a trivially copyable T. The child stays `linger` after answering, as an
// application would while the library's remaining work runs out.
template <class T, class Work>
ChildResult<T> runInChild(Work work, std::chrono::milliseconds linger = {}) {
    static_assert(std::is_trivially_copyable_v<T>);
    ChildResult<T> result;
    int fds[2];
    if (::pipe(fds) != 0) {
        return result;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(fds[0]);
        const T value = work();
        (void)!::write(fds[1], &value, sizeof value);
        ::close(fds[1]);
        std::this_thread::sleep_for(linger);
        std::_Exit(0);
    }
    ::close(fds[1]);
    if (::read(fds[0], &result.value, sizeof result.value) != sizeof result.value) {
        result.value = T{};
    }
    ::close(fds[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    result.survived = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return result;
}

}  // namespace vantoconnect::testing
