// A folder of its own for a test on the operating system's files.
#ifndef PV_PLATFORM_TEST_FOLDER_H_
#define PV_PLATFORM_TEST_FOLDER_H_

#include <filesystem>
#include <random>
#include <string>

namespace pv::platform {

// Made below the system's folder for temporary files; gone with all it holds when it dies.
class TestFolder {
 public:
  TestFolder() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("pv_test_" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  std::string path() const { return path_.string(); }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_TEST_FOLDER_H_
