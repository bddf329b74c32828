#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "provider.h"
#include "workingCopy.h"

// Everything needed to make more providers for one working copy.
struct Session {
  std::string directory;
  std::shared_ptr<const ProviderLibrary> library;
  Configuration configuration;
  unsigned jobs = 1;  // how many clients may run at a time
};

// One file, and what is known of its state.
struct FileReport {
  VersionedFile file;
  // What the provider says; not asked when the administrative files alone give the state.
  FileState state;
  // The state in a word or two: the provider's, or else "added", "removed", "conflict", "dead" (the
  // repository has it no more), "missing" (not here), "no status" or "unknown".
  std::string statusText;
  // Why the state is not known; empty when nothing went wrong.
  std::string trouble;

  // Whether the state is one of those that the provider knows of a file that is here.
  bool isToldByProvider() const {
    return state.known && statusText == state.statusText && statusText != "missing";
  }
};

struct GroupReport {
  std::string directory;
  bool isWhole = false;  // all files of the directory, not just some
  std::vector<FileReport> files;
  std::string trouble;  // of the directory itself; empty when nothing went wrong
};

// Asks about every file, several directories at a time, and passes the reports to the handler in
// the order of the groups. The handler runs on the caller's thread; an exception ends the survey.
void survey(const Session& session, const std::vector<FileGroup>& groups,
            const std::function<void(GroupReport)>& handle);
