#include "files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <system_error>

FileKind kindOf(const std::string& path) {
  struct stat found = {};
  if (stat(path.c_str(), &found) == -1) return FileKind::none;
  if (S_ISREG(found.st_mode)) return FileKind::regular;
  return S_ISDIR(found.st_mode) ? FileKind::directory : FileKind::other;
}

bool isHere(const std::string& path) {
  struct stat found = {};
  return lstat(path.c_str(), &found) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

std::optional<std::string> resolve(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> found(realpath(path.c_str(), nullptr), std::free);
  if (found == nullptr) return std::nullopt;
  return found.get();
}

std::string resolveExisting(const std::string& path) {
  std::filesystem::path start = path, rest;
  for (;;) {
    const auto found = resolve(start.empty() ? "." : start.string());
    if (found.has_value()) return rest.empty() ? *found : *found + '/' + rest.string();
    rest = rest.empty() ? start.filename() : start.filename() / rest;
    start = start.parent_path();
  }
}

std::vector<std::string> listNames(const std::string& directory) {
  std::vector<std::string> names;
  const auto close = [](DIR* open) { closedir(open); };
  const std::unique_ptr<DIR, decltype(close)> open(opendir(directory.c_str()), close);
  while (const dirent* entry = open == nullptr ? nullptr : readdir(open.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string fromEnvironment(const char* name, const std::string& otherwise) {
  const char* value = std::getenv(name);
  return value == nullptr || *value == '\0' ? otherwise : value;
}

std::ifstream openRegular(const std::string& path) {
  std::ifstream file;
  file.setstate(std::ios::failbit);
  if (kindOf(path) == FileKind::regular) file.open(path, std::ios::binary);
  return file;
}

bool haveSameBytes(const std::string& one, const std::string& other) {
  std::ifstream first = openRegular(one), second = openRegular(other);
  while (first && second) {
    char bytes[16384], others[sizeof bytes];
    first.read(bytes, sizeof bytes);
    second.read(others, sizeof others);
    if (!std::equal(bytes, bytes + first.gcount(), others, others + second.gcount())) return false;
  }
  return first.eof() && second.eof();
}

bool holdsNul(const std::string& path) {
  std::ifstream file = openRegular(path);
  using Bytes = std::istreambuf_iterator<char>;
  return file && std::find(Bytes(file), Bytes(), '\0') != Bytes();
}

bool moveFile(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL) return false;
  // Not every file system can promise that.
  if (!isHere(to)) return std::rename(from.c_str(), to.c_str()) == 0;
  errno = EEXIST;
  return false;
}

bool copyFile(const std::string& from, const std::string& to) {
  std::ifstream input = openRegular(from);
  const int target = input ? open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600) : -1;
  if (target == -1) return false;
  close(target);
  std::ofstream(to, std::ios::binary) << input.rdbuf();
  if (haveSameBytes(from, to)) return true;
  const int error = errno;
  unlink(to.c_str());
  errno = error;
  return false;
}

FilePointer openTemporary() {
  std::string path = fromEnvironment("TMPDIR", P_tmpdir) + "/scchostXXXXXX";
  const int file = mkostemp(path.data(), O_CLOEXEC);
  if (file == -1) throw std::system_error(errno, std::generic_category(), "cannot make " + path);
  unlink(path.c_str());
  return FilePointer(fdopen(file, "r+"));
}

std::string pathOf(const FilePointer& file) {
  return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fileno(file.get()));
}
