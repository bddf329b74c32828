#include "provider.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "workingCopy.h"

namespace fs = std::filesystem;

namespace {

fs::path programDirectory() {
  std::error_code ignored;
  return fs::read_symlink("/proc/self/exe", ignored).parent_path();
}

bool isThere(const fs::path& path) {
  return access(path.c_str(), F_OK) == 0;
}

bool isProgram(const fs::path& path) {
  std::error_code ignored;
  return fs::is_regular_file(path, ignored) && access(path.c_str(), X_OK) == 0;
}

bool isOnSearchPath(const std::string& program) {
  const char* search = std::getenv("PATH");
  std::string rest = search == nullptr ? "/bin:/usr/bin" : search;
  rest += ':';
  for (std::size_t colon; (colon = rest.find(':')) != std::string::npos; rest.erase(0, colon + 1)) {
    // A relative directory leads elsewhere once the client starts in the working copy.
    const fs::path directory = rest.substr(0, colon);
    if (directory.is_absolute() && isProgram(directory / program)) return true;
  }
  return false;
}

std::string fromEnvironment(const char* name, const std::string& otherwise) {
  const char* value = std::getenv(name);
  return value == nullptr || *value == '\0' ? otherwise : value;
}

// The adapter that gives the stock client the options it lacks; empty when there is none.
std::string findAdapter() {
  const std::string name = "cvs-gnu";
  const fs::path beside = programDirectory() / name;
  if (isProgram(beside)) return beside.string();
  return isOnSearchPath(name) ? name : "";
}

// The client as the provider takes it: it starts the client in directories of the working copy, so
// a path has to be absolute. Empty after a failure, which has been reported.
std::string findClient(const std::string& wanted) {
  const std::string client = wanted.empty() ? fromEnvironment("CVS_GNU_CLIENT", "cvs") : wanted;
  const bool path = client.find('/') != std::string::npos;
  if (path ? !isProgram(client) : !isOnSearchPath(client)) {
    complain(path ? client + " is no program; name the client with --client"
                  : "there is no " + client +
                        " on the search path; install it, or name another client with --client");
    return {};
  }
  std::string found = path ? fs::absolute(client).string() : client;
  std::string adapter = wanted.empty() ? findAdapter() : "";
  if (adapter.empty()) return found;
  setenv("CVS_GNU_CLIENT", found.c_str(), 1);
  return adapter;
}

std::string findRoot(const Settings& settings) {
  if (!settings.root.empty()) return settings.root;
  std::string recorded = readRecordedRoot(settings.directory);
  if (!recorded.empty()) return recorded;
  std::string environment = fromEnvironment("CVSROOT", "");
  if (!environment.empty()) return environment;
  complain("which repository? " + settings.directory +
           "/CVS/Root does not say, and CVSROOT is not set; name one with --root");
  return {};
}

}  // namespace

void complain(const std::string& sentence) {
  std::cout.flush();  // in the order in which things happened
  std::cerr << "scchost: " << sentence << '\n';
}

std::unique_ptr<Provider> Provider::load(const std::string& library) {
  fs::path file = library;
  if (library.empty()) {
    file = programDirectory() / SCCHOST_LIBRARY_NAME;
    const fs::path installed = programDirectory() / SCCHOST_LIBRARY_DIRECTORY;
    if (!isThere(file)) file = installed / SCCHOST_LIBRARY_NAME;
  } else if (library.find('/') == std::string::npos) {
    file = fs::path(".") / library;  // a file, not a name for the loader to look up
  }

  std::unique_ptr<Provider> loaded(new Provider);
  loaded->library_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (loaded->library_ == nullptr) {
    complain(std::string("cannot load the provider: ") + dlerror());
    return nullptr;
  }
  const auto allocate = reinterpret_cast<decltype(&AllocateSourceCodeControlSystemInterface)>(
      dlsym(loaded->library_, "AllocateSourceCodeControlSystemInterface"));
  loaded->release_ = reinterpret_cast<decltype(&ReleaseSourceCodeControlSystemInterface)>(
      dlsym(loaded->library_, "ReleaseSourceCodeControlSystemInterface"));
  if (allocate == nullptr || loaded->release_ == nullptr) {
    complain(file.string() + " is no source-code-control provider");
    return nullptr;
  }
  loaded->provider_ = allocate();
  if (loaded->provider_ == nullptr) {
    complain("out of memory");
    return nullptr;
  }
  return loaded;
}

Provider::~Provider() {
  if (provider_ != nullptr) release_(provider_);
  if (library_ != nullptr) dlclose(library_);
}

bool Provider::configure(const Settings& settings) const {
  const std::string client = findClient(settings.client);
  if (client.empty()) return false;
  const std::string root = findRoot(settings);
  if (root.empty()) return false;
  const std::string group = "Environment/Source Code Control/";
  provider_->setOption((group + "CVSExecutable").c_str(), client.c_str());
  provider_->setOption((group + "CVSRoot").c_str(), root.c_str());
  provider_->setOption((group + "CVSEditSupported").c_str(), settings.edit ? "Yes" : "No");
  provider_->setOption((group + "CVSLoginRequired").c_str(), settings.login ? "Yes" : "No");
  return true;
}

bool Provider::tie(const std::string& directory) const {
  if (provider_->setRoots(directory.c_str())) return true;
  complain(directory + " is no working copy: it has no CVS/Repository that can be read");
  return false;
}

std::string Provider::lastWords() const {
  const std::string command = provider_->getLastErrorCommand();
  const std::string text = provider_->getLastError();
  if (command.empty()) return "the client said nothing";
  if (text.empty()) return "cvs " + command + " left no word on its standard error";
  return "cvs " + command + " said:\n" + text;
}

std::string Provider::describeFailure(const std::string& operation) const {
  return operation + " failed; " + lastWords();
}

FileState askStatus(SourceCodeControlSystemProviderInterface& provider, const char* path) {
  FileState state;
  const char *text = "", *working = "", *repository = "";
  state.known = provider.status(path, state.controlled, state.edited, state.modified,
                                state.outOfDate, text, working, repository);
  state.text = text;
  state.workingRevision = working;
  state.repositoryRevision = repository;
  return state;
}
