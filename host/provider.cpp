#include "provider.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <new>

using Interface = SourceCodeControlSystemProviderInterface;

std::string LastError::describe() const {
  if (command.empty()) return "the client said nothing";
  if (text.empty()) return "cvs " + command + " printed nothing on standard error";
  return "cvs " + command + " said:\n" + text;
}

std::string loadLibrary(const std::string& file, Session& session) {
  void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return std::string("cannot load the provider: ") + dlerror();
  session.allocate = reinterpret_cast<decltype(session.allocate)>(
      dlsym(library, "AllocateSourceCodeControlSystemInterface"));
  session.release = reinterpret_cast<decltype(session.release)>(
      dlsym(library, "ReleaseSourceCodeControlSystemInterface"));
  const bool isProvider = session.allocate != nullptr && session.release != nullptr;
  return isProvider ? "" : file + " is not a source-code-control provider";
}

Provider::Provider(const Session& session) : session_(session), provider_(session.allocate()) {
  if (provider_ == nullptr) throw std::bad_alloc();
  set("CVSExecutable", session.client);
  set("CVSRoot", session.root);
  set("CVSEditSupported", session.edit ? "Yes" : "No");
  set("CVSLoginRequired", session.login ? "Yes" : "No");
}

void Provider::set(const char* key, const std::string& value) {
  const std::string group = "Environment/Source Code Control/";
  provider_->setOption((group + key).c_str(), value.c_str());
}

void Provider::forgetLastError() {
  // A client that cannot be started fails without words.
  set("CVSExecutable", "");
  provider_->iterateRemoteDirectory("", false);
  set("CVSExecutable", session_.client);
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

bool holds(const std::optional<Names>& names, const std::string& name) {
  return names.has_value() && std::find(names->begin(), names->end(), name) != names->end();
}

bool hasListingFailed(Interface& provider, int count) {
  return count == 0 && std::string(provider.getLastErrorCommand()) == "rls";
}

std::string remotePath(Provider& provider, const std::string& path) {
  const std::string root = provider->getRemoteRoot();
  return root == "." ? path : root + '/' + path;
}

bool isRemoteDirectory(Provider& provider, const std::string& path) {
  const std::filesystem::path remote = remotePath(provider, path);
  return holds(listRepository(provider, remote.parent_path(), true), remote.filename());
}
