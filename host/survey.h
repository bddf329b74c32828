#pragma once

#include <functional>
#include <string>
#include <vector>

#include "provider.h"
#include "workingCopy.h"

// In which state a file is.
enum class State {
  told,   // the one that the provider tells, of a file that is here
  added,  // waits for a commit, as the next
  removed,
  missing,   // not here
  conflict,  // a merge left conflicts, and the provider tells nothing of the file
  dead,      // here; no longer in the repository, or on a branch only
  noStatus,  // here, but its state is not known
  unknown,   // neither listed here nor found in the repository
};

constexpr char conflictToResolve[] = "it has a conflict, to be resolved first";

// One file, and what is known of its state.
struct FileStatus {
  File file;
  State state = State::noStatus;
  FileState answer;    // the provider's, if it was asked
  std::string reason;  // why the state is not known; empty when nothing went wrong

  bool isScheduled() const { return state == State::added || state == State::removed; }
  bool isModified() const { return state == State::told && answer.modified; }
};

std::string textOf(const FileStatus& file);

struct DirectoryStatus {
  std::string directory;
  bool isWhole = false;  // all files of the directory, not just some
  std::vector<FileStatus> files;
  std::string reason;  // why files or states of the directory are not known; or empty
};

// Asks about every file, several directories at a time, and passes the answers to the handler in
// the order of the groups. The handler runs on the caller's thread; an exception ends the survey.
void survey(const Session& session, const FileGroups& groups,
            const std::function<void(const DirectoryStatus&)>& handle);
