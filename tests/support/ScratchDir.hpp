#pragma once

// A folder of the running test's own, named after the process and the test so that suites run
// side by side never share one, made empty and removed again when it goes.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace vantoconnect::testing {

struct ScratchDir {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        ("vanto-" + std::to_string(getpid()) + "-" +
         ::testing::UnitTest::GetInstance()->current_test_info()->name());

    ScratchDir() {
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return path / name; }
};

}  // namespace vantoconnect::testing
