// A directory of the test's own that vanishes with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

class TempDir {
 public:
  TempDir() {
    std::string name = (std::filesystem::temp_directory_path() / "qxsdkp-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    m_Path = name;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_Path, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& Path() const { return m_Path; }
  std::string operator/(const std::string& name) const { return (m_Path / name).string(); }

 private:
  std::filesystem::path m_Path;
};
