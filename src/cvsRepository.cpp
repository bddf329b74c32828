#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

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

bool writeLines(const char* path, const std::vector<std::string>& lines) {
  File file(std::fopen(path, "wte"));
  if (file == nullptr) return false;
  for (const auto& line : lines) {
    if (std::fputs(line.c_str(), file.get()) == EOF) return false;
    if (std::fputc('\n', file.get()) == EOF) return false;
  }
  return std::fclose(file.release()) == 0;
}

// A fresh, empty directory that nobody else can enter, removed when the object goes.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    char name[L_tmpnam];
    bool taken = true;
    while (taken && std::tmpnam(name) != nullptr) {
      // Others may take a name once it is out; mkdir never takes over what they made of it.
      if (mkdir(name, S_IRWXU) == 0) path_ = name;
      taken = path_.empty() && errno == EEXIST;
    }
  }
  ~TemporaryDirectory() {
    if (!path_.empty()) rmdir(path_.c_str());
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  // Empty when none could be made.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string textOf(const char* text) {
  return text == nullptr ? "" : text;
}

}  // namespace

bool isWorkingCopy(const std::string& directory) {
  return openToRead(directory + administrativeFile) != nullptr;
}

bool CVSInterface::setRoots(const char* local) {
  if (local == nullptr) return false;
  const File file = openToRead(std::string(local) + administrativeFile);
  if (file == nullptr) return false;
  char line[1024] = "";
  if (std::fgets(line, sizeof line, file.get()) == nullptr) line[0] = '\0';
  line[std::strcspn(line, "\n")] = '\0';
  localRoot = local;
  remoteRoot = line;
  return true;
}

bool CVSInterface::setRoots(const char* local, const char* remote) {
  if (local == nullptr || remote == nullptr) return false;
  const std::string directory = local;
  localRoot = '/' + directory;
  if (isWorkingCopy(directory)) return true;

  std::vector<std::string> components;
  splitString(directory.c_str(), "/", components);
  if (components.empty()) return false;
  const std::string name = components.back();
  components.pop_back();
  std::string parent = components.empty() ? "/" : "";
  for (const auto& component : components) parent += '/' + component;
  std::vector<std::string> output;
  return executeCVSCommand("checkout", {}, {"-l", "-d", name}, parent, {remote}, output) == 0;
}

bool CVSInterface::login(const char* user, const char* pass, const char* root) {
  multiCommand.clear();
  userName = textOf(user);
  password = textOf(pass);
  cvsRoot = textOf(root);
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
  if (path == nullptr) return 0;
  const std::string directory = path;  // a host may pass a name of the listing that ends here
  remoteEntries.clear();
  std::vector<std::string> lines;
  if (executeCVSCommand("rls", {"-q"}, {"-e"}, "", {directory}, lines) != 0) return 0;

  const char kind = directories ? 'D' : '/';
  const std::size_t nameIndex = directories ? 1 : 0;  // behind the "D" of a directory
  for (const auto& line : lines) {
    if (line.empty() || line[0] != kind) continue;
    std::vector<std::string> components;
    splitString(line.c_str(), "/", components);
    if (nameIndex < components.size()) remoteEntries.push_back(components[nameIndex]);
  }
  remoteEntryCursor = 0;
  return static_cast<int>(remoteEntries.size());
}

const char* CVSInterface::getRemoteDirectoryEntry() {
  if (remoteEntryCursor >= remoteEntries.size()) return nullptr;
  return remoteEntries[remoteEntryCursor++].c_str();
}

bool CVSInterface::getFile(const char* file, bool keepChanges) {
  if (file == nullptr) return false;
  std::vector<std::string> options;
  if (!keepChanges) options.emplace_back("-C");
  if (!inMulti) return runOnFile("update", options, file) && saved(file);
  if (multiCommand.empty()) multiOptions.clear();  // of a batch that a login cut off
  return joinMulti("update", options, file);
}

bool CVSInterface::getTo(const char* file, const char* revision, const char* destination) {
  if (file == nullptr || revision == nullptr || destination == nullptr) return false;
  std::vector<std::string> lines;
  return executeCVSCommand("update", {}, {"-p", "-r", revision}, localRoot, {file}, lines) == 0 &&
         writeLines(destination, lines);
}

bool CVSInterface::createDirectory(const char* parent, const char* name) {
  if (name == nullptr) return false;
  const TemporaryDirectory empty;
  if (empty.path().empty()) return false;
  const std::string path = parent == nullptr ? name : std::string(parent) + '/' + name;
  std::vector<std::string> output;
  return executeCVSCommand("import", {}, {"-m", "Quillmarsh Generated", path, userName, "start"},
                           empty.path(), {}, output) == 0;
}
