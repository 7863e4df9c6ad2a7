#include "cli/Watchdog.hpp"

#include <cstdlib>
#include <iostream>
#include <sstream>

#include "cli/CliError.hpp"

namespace vantocli {

namespace {
std::chrono::steady_clock::duration period(double seconds) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds));
}
}  // namespace

Watchdog::Watchdog(std::string address, double seconds, std::string what, Kind kind)
    : mAddress(std::move(address)),
      mSeconds(seconds),
      mKind(kind),
      mDeadline(std::chrono::steady_clock::now() + period(seconds)),
      mMessage("no usable answer from " + mAddress + " " + what) {
    mThread = std::thread([this] { watch(); });
}

Watchdog::~Watchdog() {
    {
        std::lock_guard lock(mMutex);
        mStopped = true;
    }
    mWake.notify_all();
    mThread.join();
}

void Watchdog::saw(const std::string& what) {
    note("no usable answer from " + mAddress + " " + what);
}

void Watchdog::note(std::string message) {
    std::lock_guard lock(mMutex);
    mMessage = std::move(message);
}

void Watchdog::restart(const std::string& what) {
    std::lock_guard lock(mMutex);
    mMessage = "no usable answer from " + mAddress + " " + what;
    mDeadline = std::chrono::steady_clock::now() + period(mSeconds);
}

void Watchdog::heard() {
    if (mKind == Kind::Backstop) {
        std::lock_guard lock(mMutex);
        mDeadline = std::chrono::steady_clock::now() + period(mSeconds);
    }
}

std::string Watchdog::seconds(double value) {
    std::ostringstream text;
    text << value << " s";
    return text.str();
}

void Watchdog::watch() {
    std::unique_lock lock(mMutex);
    while (!mStopped) {
        if (mWake.wait_until(lock, mDeadline) == std::cv_status::timeout && !mStopped &&
            std::chrono::steady_clock::now() >= mDeadline) {
            std::cout.flush();
            std::cerr << "vanto: " << mMessage << "; gave up after " << seconds(mSeconds)
                      << (mKind == Kind::Limit
                              ? " (--timeout)"
                              : " without a word from the library, past its own time limits")
                      << std::endl;
            // The classic library's threads are blocked in reads nobody can interrupt; only
            // leaving the process ends them.
            std::_Exit(CliError::UNREACHABLE);
        }
    }
}

}  // namespace vantocli
