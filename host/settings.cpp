#include "settings.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "entries.h"
#include "files.h"

namespace fs = std::filesystem;  // for the text of paths only

namespace {

fs::path programDirectory() {
  return fs::path(resolve("/proc/self/exe").value_or("")).parent_path();
}

std::string fromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

std::string findClient(const Settings& settings) {
  std::string client = settings.client;
  if (client.empty()) client = fromEnvironment("CVS_GNU_CLIENT");
  if (client.empty()) return "cvs";
  return client.find('/') == client.npos ? client : fs::absolute(client).string();
}

bool canRun(const std::string& client) {
  setenv("CVS_GNU_CLIENT", client.c_str(), 1);
  return std::system("command -v -- \"$CVS_GNU_CLIENT\" >/dev/null") == 0;
}

std::string findAdapter(const Settings& settings) {
  const fs::path beside = programDirectory() / "cvs-gnu";
  return settings.client.empty() && access(beside.c_str(), X_OK) == 0 ? beside.string() : "";
}

std::string findRoot(const Settings& settings) {
  if (!settings.root.empty()) return settings.root;
  const std::string recorded = readRecordedRoot(settings.directory);
  return recorded.empty() ? fromEnvironment("CVSROOT") : recorded;
}

std::string findLibrary(const Settings& settings) {
  const std::string& named = settings.library;
  if (!named.empty()) {
    // A file, not a name for the loader to look up.
    return named.find('/') == named.npos ? "./" + named : named;
  }
  const fs::path beside = programDirectory() / SCCHOST_LIBRARY_NAME;
  const fs::path installed = programDirectory() / SCCHOST_LIBRARY_DIRECTORY / SCCHOST_LIBRARY_NAME;
  return access(beside.c_str(), F_OK) == 0 ? beside.string() : installed.string();
}
