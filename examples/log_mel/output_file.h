// A file that appears under its name only when it is complete.
#pragma once

#include <filesystem>

namespace log_mel {

// Write to TemporaryPath(), then Commit(). Without that nothing is left behind.
class OutputFile {
 public:
  explicit OutputFile(std::filesystem::path path);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  const std::filesystem::path& Path() const { return path_; }
  const std::filesystem::path& TemporaryPath() const { return temporary_path_; }
  void Commit();

 private:
  std::filesystem::path path_;
  std::filesystem::path temporary_path_;  // in the same folder, so that the renaming is one step
};

}  // namespace log_mel
