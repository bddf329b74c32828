#include "provider.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <new>

namespace {

using Interface = SourceCodeControlSystemProviderInterface;

Interface* orThrow(Interface* provider) {
  if (provider == nullptr) throw std::bad_alloc();
  return provider;
}

}  // namespace

std::string LastError::describe() const {
  if (command.empty()) return "the client said nothing";
  if (text.empty()) return "cvs " + command + " printed nothing on standard error";
  return "cvs " + command + " said:\n" + text;
}

std::shared_ptr<const ProviderLibrary> ProviderLibrary::load(const std::string& file,
                                                             std::string& error) {
  const std::shared_ptr<ProviderLibrary> loaded(new ProviderLibrary);
  loaded->library_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (loaded->library_ == nullptr) {
    error = std::string("cannot load the provider: ") + dlerror();
    return nullptr;
  }
  loaded->allocate_ = reinterpret_cast<decltype(&AllocateSourceCodeControlSystemInterface)>(
      dlsym(loaded->library_, "AllocateSourceCodeControlSystemInterface"));
  loaded->release_ = reinterpret_cast<decltype(&ReleaseSourceCodeControlSystemInterface)>(
      dlsym(loaded->library_, "ReleaseSourceCodeControlSystemInterface"));
  if (loaded->allocate_ != nullptr && loaded->release_ != nullptr) return loaded;
  error = file + " is not a source-code-control provider";
  return nullptr;
}

ProviderLibrary::~ProviderLibrary() {
  if (library_ != nullptr) dlclose(library_);
}

Provider::Provider(const Session& session)
    : library_(session.library),
      client_(session.configuration.client),
      provider_(orThrow(library_->allocate_())) {
  set("CVSExecutable", client_);
  set("CVSRoot", session.configuration.root);
  set("CVSEditSupported", session.configuration.edit ? "Yes" : "No");
  set("CVSLoginRequired", session.configuration.login ? "Yes" : "No");
}

Provider::~Provider() {
  library_->release_(provider_);
}

void Provider::set(const char* key, const std::string& value) {
  provider_->setOption((std::string("Environment/Source Code Control/") + key).c_str(),
                       value.c_str());
}

LastError Provider::lastError() {
  return {provider_->getLastErrorCommand(), provider_->getLastError()};
}

void Provider::forgetLastError() {
  // A client that cannot be started fails without words.
  set("CVSExecutable", "");
  provider_->iterateRemoteDirectory("", false);
  set("CVSExecutable", client_);
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

std::optional<Names> listRepository(Provider& provider, const std::string& directory,
                                    bool directories) {
  const int count = provider->iterateRemoteDirectory(directory.c_str(), directories);
  if (hasListingFailed(provider.object(), count)) return std::nullopt;
  Names names;
  while (const char* name = provider->getRemoteDirectoryEntry()) names.emplace_back(name);
  return names;
}

std::string remotePath(Provider& provider, const std::string& path) {
  const std::string root = provider->getRemoteRoot();
  return root == "." ? path : root + '/' + path;
}

bool isRemoteDirectory(Provider& provider, const std::string& path) {
  const std::filesystem::path remote = remotePath(provider, path);
  const Names names = listRepository(provider, remote.parent_path(), true).value_or(Names());
  return std::find(names.begin(), names.end(), remote.filename()) != names.end();
}

bool hasListingFailed(Interface& provider, int count) {
  return count == 0 && std::string(provider.getLastErrorCommand()) == "rls";
}
