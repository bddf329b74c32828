#include "settings.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "report.h"
#include "workingCopy.h"

namespace fs = std::filesystem;

namespace {

fs::path programDirectory() {
  std::error_code ignored;
  return fs::read_symlink("/proc/self/exe", ignored).parent_path();
}

bool isProgram(const fs::path& path) {
  std::error_code ignored;
  return fs::is_regular_file(path, ignored) && access(path.c_str(), X_OK) == 0;
}

std::string fromEnvironment(const char* name, const std::string& otherwise) {
  const char* value = std::getenv(name);
  return value == nullptr || *value == '\0' ? otherwise : value;
}

bool isOnSearchPath(const std::string& program) {
  const char* search = std::getenv("PATH");
  std::string rest = search == nullptr ? "/bin:/usr/bin" : search;
  rest += ':';
  for (std::size_t colon; (colon = rest.find(':')) != std::string::npos; rest.erase(0, colon + 1)) {
    // Skip relative directories: the client starts in another directory.
    const fs::path directory = rest.substr(0, colon);
    if (directory.is_absolute() && isProgram(directory / program)) return true;
  }
  return false;
}

std::string findAdapter() {
  const std::string name = "cvs-gnu";
  const fs::path beside = programDirectory() / name;
  if (isProgram(beside)) return beside.string();
  return isOnSearchPath(name) ? name : "";
}

}  // namespace

std::optional<Client> findClient(const Settings& settings) {
  const bool isNamed = !settings.client.empty();
  std::string program = isNamed ? settings.client : fromEnvironment("CVS_GNU_CLIENT", "cvs");
  const bool isPath = program.find('/') != std::string::npos;
  if (isPath ? !isProgram(program) : !isOnSearchPath(program)) {
    complain(isPath ? program + " is no program; name the client with --client"
                    : "there is no " + program +
                          " on the search path; install it, or name another client with --client");
    return std::nullopt;
  }
  // The client starts in directories of the working copy.
  if (isPath) program = fs::absolute(program).string();
  return Client{program, isNamed ? "" : findAdapter()};
}

std::optional<std::string> findRoot(const Settings& settings) {
  std::string root = settings.root;
  if (root.empty()) root = readRecordedRoot(settings.directory);
  if (root.empty()) root = fromEnvironment("CVSROOT", "");
  if (!root.empty()) return root;
  complain("which repository? " + settings.directory +
           "/CVS/Root does not say, and CVSROOT is not set; name one with --root");
  return std::nullopt;
}

std::string findLibrary(const Settings& settings) {
  const std::string& named = settings.library;
  if (!named.empty()) {
    // A file, not a name for the loader to look up.
    return named.find('/') == std::string::npos ? "./" + named : named;
  }
  const fs::path beside = programDirectory() / SCCHOST_LIBRARY_NAME;
  const fs::path installed = programDirectory() / SCCHOST_LIBRARY_DIRECTORY / SCCHOST_LIBRARY_NAME;
  return access(beside.c_str(), F_OK) == 0 ? beside.string() : installed.string();
}
