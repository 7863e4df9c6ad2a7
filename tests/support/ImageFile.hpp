#pragma once

// Writes 8-bit pixels, `bands` to a pixel, to an image file in the format its suffix names.

#include <gtest/gtest.h>
#include <vips/vips.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vantoconnect::testing {

inline std::string writeImage(const std::filesystem::path& path, int width, int height, int bands,
                              const std::vector<std::uint8_t>& pixels) {
    EXPECT_EQ(VIPS_INIT("vanto-tests"), 0);
    VipsImage* image = vips_image_new_from_memory_copy(pixels.data(), pixels.size(), width, height,
                                                       bands, VIPS_FORMAT_UCHAR);
    EXPECT_EQ(vips_image_write_to_file(image, path.c_str(), nullptr), 0) << vips_error_buffer();
    g_object_unref(image);
    return path.string();
}

}  // namespace vantoconnect::testing
