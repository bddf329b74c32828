#pragma once

#include <memory>
#include <string>

#include "SourceCodeControlSystemProviderInterface.h"

// Where a provider comes from and what it is told first.
struct Settings {
  std::string directory = ".";  // the working copy
  std::string client;           // empty: the adapter beside the program or installed, else cvs
  std::string root;             // empty: what the working copy says, else CVSROOT
  std::string library;          // empty: the one beside the program, else the installed one
  bool edit = false;            // track announced edits
  bool login = false;           // login and logout run the client
};

// What the provider says of one file.
struct FileState {
  bool known = false, controlled = false, edited = false, modified = false, outOfDate = false;
  std::string text, workingRevision, repositoryRevision;
};

// Asks for the status of a file; a null path is passed on.
FileState askStatus(SourceCodeControlSystemProviderInterface& provider, const char* path);

// One provider, and the library it comes from for as long as it lives.
class Provider {
 public:
  // Null after a failure, which has been reported.
  static std::unique_ptr<Provider> load(const std::string& library);
  ~Provider();
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  SourceCodeControlSystemProviderInterface& object() const { return *provider_; }
  SourceCodeControlSystemProviderInterface* operator->() const { return provider_; }

  // Passes the settings on, finding out what they leave open. False after a failure, which has
  // been reported.
  bool configure(const Settings& settings) const;

  // Ties the provider to a working copy; false, reported, for a directory that is none.
  bool tie(const std::string& directory) const;

  // What the client said when it last failed.
  std::string lastWords() const;
  // A sentence about an operation that failed, with the client's words.
  std::string describeFailure(const std::string& operation) const;

 private:
  Provider() = default;

  void* library_ = nullptr;
  SourceCodeControlSystemProviderInterface* provider_ = nullptr;
  decltype(&ReleaseSourceCodeControlSystemInterface) release_ = nullptr;
};

constexpr int exitSuccess = 0;
constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

// Writes one sentence about what went wrong to the standard error.
void complain(const std::string& sentence);
