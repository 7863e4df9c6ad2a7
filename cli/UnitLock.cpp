#include "cli/UnitLock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <thread>

#include "cli/CliError.hpp"

namespace vantocli {

namespace {
constexpr auto RETRY = std::chrono::milliseconds(50);

std::filesystem::path runtimeDirectory() {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime) {
        std::error_code error;
        if (std::filesystem::is_directory(runtime, error)) {
            return runtime;
        }
    }
    return std::filesystem::temp_directory_path();
}
}  // namespace

std::filesystem::path UnitLock::pathFor(const SessionOptions& unit) {
    // The address is the user's text; only characters that are safe in a file name survive.
    std::string name = "vanto-" + unit.ip + "-" + std::to_string(unit.port) + ".lock";
    for (char& c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-') {
            c = '_';
        }
    }
    return runtimeDirectory() / name;
}

UnitLock::UnitLock(const SessionOptions& unit) {
    const auto path = pathFor(unit);
    // flock needs only a readable descriptor, so other users can take the same lock.
    mFd = ::open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644);
    if (mFd < 0) {
        throw CliError(CliError::FAILED,
                       "cannot open the lock file " + path.string() + ": " + std::strerror(errno));
    }
    if (flock(mFd, LOCK_EX | LOCK_NB) == 0) {
        return;
    }
    std::cout << "print: another vanto command on this machine is printing to " << unit.text()
              << "; waiting for it" << std::endl;
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(unit.timeoutOrDefault());
    while (flock(mFd, LOCK_EX | LOCK_NB) != 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            ::close(mFd);
            throw CliError(CliError::UNREACHABLE,
                           "another vanto command on this machine kept printing to " + unit.text() +
                               " for longer than --timeout " +
                               Watchdog::seconds(unit.timeoutOrDefault()));
        }
        std::this_thread::sleep_for(RETRY);
    }
}

UnitLock::~UnitLock() {
    // Closing the descriptor releases the lock; the file stays for the next command.
    ::close(mFd);
}

}  // namespace vantocli
