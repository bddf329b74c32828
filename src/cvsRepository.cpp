#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "cvs.h"

namespace {

constexpr char administrativeFile[] = "/CVS/Repository";

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// The descriptor closes on exec: another thread of the host may start a child meanwhile.
File openToRead(const std::string& path) {
  return File(std::fopen(path.c_str(), "rte"));
}

bool writeLines(const std::string& path, const std::vector<std::string>& lines) {
  File file(std::fopen(path.c_str(), "wte"));
  if (file == nullptr) return false;
  for (const auto& line : lines) {
    if (std::fputs(line.c_str(), file.get()) == EOF) return false;
    if (std::fputc('\n', file.get()) == EOF) return false;
  }
  return std::fclose(file.release()) == 0;
}

// A fresh, empty directory that nobody else can enter. The destructor removes it.
class TemporaryDirectory {
 public:
  TemporaryDirectory() : made_(mkdtemp(path_) != nullptr) {}
  ~TemporaryDirectory() {
    if (made_) rmdir(path_);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  // Null when none could be made.
  const char* path() const { return made_ ? path_ : nullptr; }

 private:
  char path_[sizeof P_tmpdir "/cvsproviderXXXXXX"] = P_tmpdir "/cvsproviderXXXXXX";
  const bool made_;
};

// The names of the directories, or else the files, that the output of "rls -e" lists.
std::vector<std::string> readListing(const std::vector<std::string>& lines, bool directories) {
  const char kind = directories ? 'D' : '/';
  std::vector<std::string> names;
  for (const auto& line : lines) {
    if (line.empty() || line[0] != kind) continue;
    std::string_view rest = line;
    if (directories) takeToken(rest, "/");  // the "D" before the name
    const std::string_view name = takeToken(rest, "/");
    if (!name.empty()) names.emplace_back(name);
  }
  return names;
}

}  // namespace

bool isWorkingCopy(const std::string& directory) {
  return openToRead(directory + administrativeFile) != nullptr;
}

bool CVSInterface::setRoots(const char* local) {
  auto directory = copyArgument(local);
  if (!directory) return false;
  const File file = openToRead(*directory + administrativeFile);
  if (file == nullptr) return false;
  char line[1024] = "";
  if (std::fgets(line, sizeof line, file.get()) == nullptr) line[0] = '\0';
  line[std::strcspn(line, "\n")] = '\0';
  remoteRoot = line;
  localRoot = std::move(*directory);
  return true;
}

bool CVSInterface::setRoots(const char* local, const char* remote) {
  const auto directory = copyArgument(local), module = copyArgument(remote);
  if (!directory || !module) return false;
  localRoot = '/' + *directory;
  if (isWorkingCopy(*directory)) return true;

  std::vector<std::string> components;
  splitString(directory->c_str(), "/", components);
  if (components.empty()) return false;
  const std::string name = components.back();
  components.pop_back();
  std::string parent = components.empty() ? "/" : "";
  for (const auto& component : components) parent += '/' + component;
  std::vector<std::string> output;
  return executeCVSCommand("checkout", {}, {"-l", "-d", name}, parent, {*module}, output) == 0;
}

bool CVSInterface::login(const char* user, const char* pass, const char* root) {
  std::string newUser = copyArgument(user).value_or("");
  std::string newPassword = copyArgument(pass).value_or("");
  std::string newRoot = copyArgument(root).value_or("");
  multiCommand.clear();
  userName = std::move(newUser);
  password = std::move(newPassword);
  cvsRoot = std::move(newRoot);
  if (!loginRequired) return true;
  std::vector<std::string> output;
  return executeCVSCommand("login", {}, {"-p", password}, "", {}, output) == 0;
}

bool CVSInterface::logout() {
  if (loginRequired) {
    std::vector<std::string> output;
    executeCVSCommand("logout", {}, {}, "", {}, output);
  }
  refresh();
  return true;
}

int CVSInterface::iterateRemoteDirectory(const char* path, bool directories) {
  const auto directory = copyArgument(path);
  if (!directory) return 0;
  remoteEntries.clear();
  std::vector<std::string> lines;
  if (executeCVSCommand("rls", {"-q"}, {"-e"}, "", {*directory}, lines) != 0) return 0;

  remoteEntries = readListing(lines, directories);
  remoteEntryCursor = 0;
  return static_cast<int>(remoteEntries.size());
}

const char* CVSInterface::getRemoteDirectoryEntry() {
  if (remoteEntryCursor >= remoteEntries.size()) return nullptr;
  return remoteEntries[remoteEntryCursor++].c_str();
}

bool CVSInterface::getFile(const char* file, bool keepChanges) {
  const auto path = copyArgument(file);
  if (!path) return false;
  std::vector<std::string> options;
  if (!keepChanges) options.emplace_back("-C");
  if (inMulti) return joinMulti("update", options, *path);
  return runOnFile("update", options, *path) && saved(path->c_str());
}

bool CVSInterface::getTo(const char* file, const char* revision, const char* destination) {
  const auto path = copyArgument(file), wanted = copyArgument(revision),
             target = copyArgument(destination);
  if (!path || !wanted || !target) return false;
  std::vector<std::string> lines;
  return executeCVSCommand("update", {}, {"-p", "-r", *wanted}, localRoot, {*path}, lines) == 0 &&
         writeLines(*target, lines);
}

bool CVSInterface::createDirectory(const char* parent, const char* name) {
  const auto above = copyArgument(parent), own = copyArgument(name);
  if (!own) return false;
  const std::string path = above ? *above + '/' + *own : *own;
  const TemporaryDirectory empty;
  if (empty.path() == nullptr) {
    setLastError("import", "");
    return false;
  }
  std::vector<std::string> output;
  return executeCVSCommand("import", {}, {"-m", "Quillmarsh Generated", path, userName, "start"},
                           empty.path(), {}, output) == 0;
}
