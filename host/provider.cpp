#include "provider.h"

#include <dlfcn.h>

#include <new>

#include "report.h"

namespace {

using Interface = SourceCodeControlSystemProviderInterface;

Interface* orThrow(Interface* provider) {
  if (provider == nullptr) throw std::bad_alloc();
  return provider;
}

}  // namespace

std::string LastError::describe() const {
  if (command.empty()) return "the client said nothing";
  if (text.empty()) return "cvs " + command + " left no word on its standard error";
  return "cvs " + command + " said:\n" + text;
}

std::shared_ptr<const ProviderLibrary> ProviderLibrary::load(const std::string& file) {
  const std::shared_ptr<ProviderLibrary> loaded(new ProviderLibrary);
  loaded->library_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (loaded->library_ == nullptr) {
    complain(std::string("cannot load the provider: ") + dlerror());
    return nullptr;
  }
  loaded->allocate_ = reinterpret_cast<decltype(&AllocateSourceCodeControlSystemInterface)>(
      dlsym(loaded->library_, "AllocateSourceCodeControlSystemInterface"));
  loaded->release_ = reinterpret_cast<decltype(&ReleaseSourceCodeControlSystemInterface)>(
      dlsym(loaded->library_, "ReleaseSourceCodeControlSystemInterface"));
  if (loaded->allocate_ == nullptr || loaded->release_ == nullptr) {
    complain(file + " is no source-code-control provider");
    return nullptr;
  }
  return loaded;
}

ProviderLibrary::~ProviderLibrary() {
  if (library_ != nullptr) dlclose(library_);
}

Provider::Provider(std::shared_ptr<const ProviderLibrary> library,
                   const Configuration& configuration)
    : library_(std::move(library)), provider_(orThrow(library_->allocate_())) {
  configure(configuration);
}

Provider::~Provider() {
  library_->release_(provider_);
}

void Provider::configure(const Configuration& configuration) {
  const std::string group = "Environment/Source Code Control/";
  const auto set = [&](const char* key, const std::string& value) {
    provider_->setOption((group + key).c_str(), value.c_str());
  };
  set("CVSExecutable", configuration.client);
  set("CVSRoot", configuration.root);
  set("CVSEditSupported", configuration.edit ? "Yes" : "No");
  set("CVSLoginRequired", configuration.login ? "Yes" : "No");
}

bool Provider::tie(const std::string& directory) {
  if (provider_->setRoots(directory.c_str())) return true;
  complain(directory + " is no working copy: it has no CVS/Repository that can be read");
  return false;
}

LastError Provider::lastError() {
  return {provider_->getLastErrorCommand(), provider_->getLastError()};
}

int Provider::fail(const std::string& operation) {
  complain(operation + " failed; " + lastError().describe());
  return exitFailure;
}

FileState askStatus(Interface& provider, const char* path) {
  FileState state;
  const char *statusText = "", *workingRevision = "", *repositoryRevision = "";
  state.known = provider.status(path, state.controlled, state.edited, state.modified,
                                state.outOfDate, statusText, workingRevision, repositoryRevision);
  state.statusText = statusText;
  state.workingRevision = workingRevision;
  state.repositoryRevision = repositoryRevision;
  return state;
}

bool hasListingFailed(Interface& provider, int count) {
  return count == 0 && std::string(provider.getLastErrorCommand()) == "rls";
}
