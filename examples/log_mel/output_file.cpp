// A file that appears under its name only when it is complete.
#include "output_file.h"

#include <utility>

#include "failure.h"

namespace log_mel {

OutputFile::OutputFile(std::filesystem::path path) : path_(std::move(path)), temporary_path_(path_) {
  temporary_path_ += ".part";
}

OutputFile::~OutputFile() {
  std::error_code ignored;
  std::filesystem::remove(temporary_path_, ignored);
}

void OutputFile::Commit() {
  std::error_code error;
  std::filesystem::rename(temporary_path_, path_, error);
  if (error) throw Failure(path_.string() + ": " + error.message());
}

}  // namespace log_mel
