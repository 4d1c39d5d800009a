#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

/// Gives the test process a fresh home folder, so that no test sees or leaves files of its user or of another
/// test.
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
    // A thread of the library may be writing one more file.
    std::error_code error;
    for (int i = 0; i < 100 && (i == 0 || error); ++i) {
        std::filesystem::remove_all(home, error);
    }
    return result;
}
