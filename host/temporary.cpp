#include "temporary.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace {

std::string makeTemplate() {
  return (fs::temp_directory_path() / "scchostXXXXXX").string();
}

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

TemporaryFile::TemporaryFile() : path_(makeTemplate()) {
  const int descriptor = mkostemp(path_.data(), O_CLOEXEC);
  if (descriptor == -1) fail("no temporary file could be made");
  close(descriptor);
}

TemporaryFile::~TemporaryFile() {
  unlink(path_.c_str());
}

TemporaryDirectory::TemporaryDirectory() : path_(makeTemplate()) {
  if (mkdtemp(path_.data()) == nullptr) fail("no temporary directory could be made");
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}
