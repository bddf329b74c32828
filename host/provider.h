#pragma once

#include <optional>
#include <string>
#include <vector>

#include "SourceCodeControlSystemProviderInterface.h"

// What the provider says of one file.
struct FileState {
  bool known = false, controlled = false, edited = false, modified = false, outOfDate = false;
  std::string statusText, workingRevision, repositoryRevision;
};

// The client command that last failed or wrote to its standard error, and what it wrote.
struct LastError {
  std::string command;  // empty before the first
  std::string text;

  // The client's words, in a form that completes a sentence.
  std::string describe() const;
};

// Everything needed to make providers for one working copy.
struct Session {
  std::string directory;  // the working copy
  std::string client;
  std::string root;
  bool edit = false;   // announced edits are tracked
  bool login = false;  // login and logout run the client
  unsigned jobs = 1;   // how many clients may run at a time
  decltype(&AllocateSourceCodeControlSystemInterface) allocate = nullptr;
  decltype(&ReleaseSourceCodeControlSystemInterface) release = nullptr;

  // A path in the working copy, as the system takes it.
  std::string pathOf(const std::string& path) const { return directory + '/' + path; }
};

// Loads the shared library that providers come from, for good. Returns why that failed; or empty.
std::string loadLibrary(const std::string& file, Session& session);

// One provider, not tied to the working copy yet. Only one thread may use it at a time. Throws
// std::bad_alloc when the library has no memory for it.
class Provider {
 public:
  explicit Provider(const Session& session);
  ~Provider() { session_.release(provider_); }
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  SourceCodeControlSystemProviderInterface* operator->() { return provider_; }
  SourceCodeControlSystemProviderInterface& object() { return *provider_; }

  LastError lastError() { return {provider_->getLastErrorCommand(), provider_->getLastError()}; }

  // Empties the text of the last error, so that the next is known to be new, and the last listing.
  void forgetLastError();

 private:
  void set(const char* key, const std::string& value);

  const Session& session_;
  SourceCodeControlSystemProviderInterface* const provider_;
};

// Asks for the status of a file; a null path is passed on.
FileState askStatus(SourceCodeControlSystemProviderInterface& provider, const char* path);

using Names = std::vector<std::string>;

// The files, or else the directories, in a repository directory; "" is the top. None when the
// client failed, as far as can be told: an empty listing after an error looks the same.
std::optional<Names> listRepository(Provider& provider, const std::string& directory,
                                    bool directories);

bool holds(const std::optional<Names>& names, const std::string& name);

// Whether a listing of so many names failed, as far as can be told.
bool hasListingFailed(SourceCodeControlSystemProviderInterface& provider, int count);

// Where a path of the working copy is in the repository.
std::string remotePath(Provider& provider, const std::string& path);

// Whether it is a directory there.
bool isRemoteDirectory(Provider& provider, const std::string& path);
