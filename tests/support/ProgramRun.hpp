#pragma once

// A program of this build (the vanto command, an example) run as a user runs it: in a child
// process in a folder of the test's own, which also takes the unit lock files, with its standard
// output and error in files. Under the sanitizers the leak checker would list the font
// library's suppressed leaks at exit; standard error must hold only the program's own words.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace vantoconnect::testing {

struct Finished {
    int exitCode = -1;  // 128 + the signal when one ended it; -2 when it ran out of time
    std::string out;
    std::string err;
};

inline std::string slurp(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Standard output to `out`, standard error to `err` (which may be the same file).
inline pid_t startProgram(const std::string& program, std::vector<std::string> args,
                          const std::filesystem::path& out, const std::filesystem::path& err,
                          const std::filesystem::path& dir) {
    const pid_t pid = fork();
    if (pid == 0) {
        setenv("LSAN_OPTIONS", "print_suppressions=0", 1);
        setenv("XDG_RUNTIME_DIR", dir.c_str(), 1);
        const int outFd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int errFd =
            err == out ? outFd : open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (chdir(dir.c_str()) != 0 || dup2(outFd, STDOUT_FILENO) < 0 ||
            dup2(errFd, STDERR_FILENO) < 0) {
            _exit(126);
        }
        args.insert(args.begin(), program);
        std::vector<char*> argv;
        for (auto& a : args) {
            argv.push_back(a.data());
        }
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    return pid;
}

// The exit code; a program still running after `limit` is interrupted and counts -2.
inline int finish(pid_t pid, std::chrono::seconds limit = std::chrono::seconds(120)) {
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGINT);
            waitpid(pid, &status, 0);
            return -2;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

inline Finished runProgram(const std::string& program, std::vector<std::string> args,
                           const std::filesystem::path& dir,
                           std::chrono::seconds limit = std::chrono::seconds(120)) {
    const auto out = dir / "program.out";
    const auto err = dir / "program.err";
    Finished run;
    run.exitCode = finish(startProgram(program, std::move(args), out, err, dir), limit);
    run.out = slurp(out);
    run.err = slurp(err);
    return run;
}

}  // namespace vantoconnect::testing
