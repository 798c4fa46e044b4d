#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

// A fresh folder per test under the system's temporary folder, removed
// afterwards; the process id keeps two builds' runs apart.
class TempFolderTest : public ::testing::Test {
protected:
    void SetUp() override {
        folder = std::filesystem::temp_directory_path() / ("kv_examples_" + std::to_string(getpid()));
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::filesystem::path folder;
};
