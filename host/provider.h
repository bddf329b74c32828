#pragma once

#include <memory>
#include <string>

#include "SourceCodeControlSystemProviderInterface.h"
#include "settings.h"

// What the provider says of one file.
struct FileState {
  bool known = false, controlled = false, edited = false, modified = false, outOfDate = false;
  std::string statusText, workingRevision, repositoryRevision;
};

// The client command that last failed or wrote to its standard error, and what it wrote.
struct LastError {
  std::string command;  // empty before the first
  std::string text;

  bool operator==(const LastError& other) const {
    return command == other.command && text == other.text;
  }
  // The client's words, in a form that completes a sentence.
  std::string describe() const;
};

// The shared library that providers come from.
class ProviderLibrary {
 public:
  // Null after a failure, which has been reported.
  static std::shared_ptr<const ProviderLibrary> load(const std::string& file);
  ~ProviderLibrary();
  ProviderLibrary(const ProviderLibrary&) = delete;
  ProviderLibrary& operator=(const ProviderLibrary&) = delete;

 private:
  friend class Provider;
  ProviderLibrary() = default;

  void* library_ = nullptr;
  decltype(&AllocateSourceCodeControlSystemInterface) allocate_ = nullptr;
  decltype(&ReleaseSourceCodeControlSystemInterface) release_ = nullptr;
};

// One provider. Its library stays loaded for as long as it lives. Only one thread may use it at a
// time. Throws std::bad_alloc when the library has no memory for it.
class Provider {
 public:
  explicit Provider(std::shared_ptr<const ProviderLibrary> library,
                    const Configuration& configuration = {});
  ~Provider();
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  SourceCodeControlSystemProviderInterface* operator->() { return provider_; }
  SourceCodeControlSystemProviderInterface& object() { return *provider_; }

  // May be called at any time.
  void configure(const Configuration& configuration);

  // Ties the provider to a working copy; false, reported, for a directory that is none.
  bool tie(const std::string& directory);

  LastError lastError();

  // Reports an operation that failed, with the client's words, and returns the exit status.
  int fail(const std::string& operation);

 private:
  const std::shared_ptr<const ProviderLibrary> library_;
  SourceCodeControlSystemProviderInterface* const provider_;
};

// Asks for the status of a file; a null path is passed on.
FileState askStatus(SourceCodeControlSystemProviderInterface& provider, const char* path);

// Whether a listing failed, as far as can be told. It names nothing then, as an empty listing does,
// but it leaves an error of the client's "rls" behind.
bool hasListingFailed(SourceCodeControlSystemProviderInterface& provider, int count);
