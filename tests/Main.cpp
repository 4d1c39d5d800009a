#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <ftw.h>
#include <unistd.h>

#include <gtest/gtest.h>

/// Gives the test process a new home folder and removes it at the end, so that no test sees files of the user
/// or of another test.
int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    std::string home = KIV_TEST_BIN_DIR "/../test-home/XXXXXX";
    std::filesystem::create_directories(std::filesystem::path(home).parent_path());
    if (mkdtemp(home.data()) == nullptr) {
        return EXIT_FAILURE;
    }
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_DATA_HOME", (home + "/data").c_str(), 1);
    const int result = RUN_ALL_TESTS();
    // A thread of the library may still write a file meanwhile, so the removal is tried again.
    const auto removeOne = [](const char* path, const struct stat*, int, FTW*) {
        return std::remove(path) & 0;
    };
    for (int i = 0; i < 100 && access(home.c_str(), F_OK) == 0; ++i) {
        nftw(home.c_str(), removeOne, 16, FTW_DEPTH | FTW_PHYS);
    }
    return result;
}
