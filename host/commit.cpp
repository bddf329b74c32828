#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "console.h"
#include "files.h"
#include "operations.h"
#include "survey.h"

namespace fs = std::filesystem;  // for the text of paths only

namespace {

// Whether a text, but for some of these characters, ends in a marker.
bool endsIn(const std::string& marker, const std::string& but, std::string text) {
  text.erase(text.find_last_not_of(but) + 1);
  return text.size() >= marker.size() &&
         text.compare(text.size() - marker.size(), marker.size(), marker) == 0;
}

// Whether a file contains the markers of a conflict in their order: the first with the file's own
// name, the last with a revision. A text without line end shares its line with the next marker.
bool containsMarkers(const std::string& path) {
  const std::string first = "<<<<<<< " + path.substr(path.rfind('/') + 1);
  std::ifstream file = openRegular(path);
  int found = 0;
  for (std::string line; found < 3 && std::getline(file, line);) {
    const bool isNext = found == 0   ? line == first || line == first + '\r'
                        : found == 1 ? endsIn("=======", "\r", line)
                                     : endsIn(">>>>>>> ", "0123456789.\r", line);
    if (isNext) ++found;
  }
  return found == 3;
}

// Why a commit cannot take a file, even one that the user has named; empty when it can.
std::string whyNotCommitted(const Session& session, const File& file) {
  const fs::path place = session.pathOf(file.path), administration = place.parent_path() / "CVS";
  if (access(administration.c_str(), W_OK) != 0) {
    return "cannot write to " + administration.string() + ": " + std::strerror(errno);
  }
  const bool isMissing = file.entry.listed && !file.here && !file.entry.isRemoved();
  return isMissing ? "it is missing; update brings it" : "";
}

// Why a commit takes a file as it is only where the user has named it; or empty.
std::string whyOnlyByName(const Session& session, const FileStatus& file) {
  if (file.state == State::conflict) return conflictToResolve;
  if (file.state == State::dead) return "it no longer exists in the repository; update first";
  const bool isMarked = file.isModified() && containsMarkers(session.pathOf(file.file.path));
  return isMarked ? "it contains conflict markers" : "";
}

// Adds the paths of every file in the groups that a commit would take. Those that the user has
// named are not examined. False, reported, when not all are known and ready.
bool addChanged(const Job& job, const FileGroups& groups, Paths& changed) {
  Complaints complaints;
  survey(job.session, groups, [&](const DirectoryStatus& directory) {
    complaints.add(directory.directory, directory.reason);
    for (const auto& file : directory.files) {
      const std::string& path = file.file.path;
      complaints.add(path, file.reason);
      if (!job.names(path)) complaints.add(path, whyOnlyByName(job.session, file), true);
      if (file.isScheduled() || file.isModified() || job.names(path)) changed.push_back(path);
    }
  });
  if (complaints.report() == exitSuccess) return true;
  complain("nothing is committed; name the files that are ready");
  return false;
}

std::string describeCommit(const File& before, const File& after) {
  const std::string &from = before.entry.revision, &to = after.entry.revision;
  if (from == to || from.empty()) return "";
  if (to.empty()) return "removed " + shown(before.path);
  return describeChange("committed", before.path, from == "0" ? "" : from, to);
}

}  // namespace

int commitFiles(Job& job) {
  Paths changed;
  FileGroups toSearch;
  for (const auto& group : findOwnFiles(job)) {
    if (!group.isWhole) {
      for (const auto& file : group.files) changed.push_back(file.path);
    } else if (group.state != FileGroup::State::missing || job.names(group.directory)) {
      toSearch.push_back(group);
    }
  }
  if (!toSearch.empty() && !addChanged(job, toSearch, changed)) return exitFailure;
  const FileGroups before = findFiles(job.session, changed);
  Complaints complaints;
  for (const auto& group : before) {
    const bool isTaken = std::count(changed.begin(), changed.end(), group.directory) > 0;
    if (isTaken) complaints.add(group.directory, "it has a directory in its place");
    for (const auto& file : group.files)
      complaints.add(file.path, whyNotCommitted(job.session, file));
  }
  if (complaints.report() != exitSuccess) return exitFailure;
  for (const auto& path : changed) {
    if (!job.names(path)) say("committing " + shown(path));
  }
  const int status = runAsOne(job, changed, "commit", [&](const char* file) {
    return job.provider->checkin(file, job.line.message.c_str());
  });
  const bool hasSaid = sayChanges(before, findFiles(job.session, changed), describeCommit);
  if (status == exitSuccess && !hasSaid) say("nothing is modified");
  return status;
}
