#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "console.h"
#include "files.h"
#include "operations.h"
#include "survey.h"

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

// Why a commit of a whole directory must not take a file as it is; empty when it may.
std::string findObstacle(const Session& session, const FileStatus& file) {
  if (file.state == State::conflict) return "it has a conflict, to be resolved first";
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
      const bool isNamed = std::count(job.paths.begin(), job.paths.end(), path) > 0;
      complaints.add(path, file.reason);
      if (!isNamed) complaints.add(path, findObstacle(job.session, file), true);
      const bool isScheduled = file.state == State::added || file.state == State::removed;
      if (isScheduled || file.isModified()) changed.push_back(path);
    }
  });
  if (complaints.report() == exitSuccess) return true;
  complain("nothing is committed; name the files to commit");
  return false;
}

// Whether the names fit on one command line; if not, that is reported.
bool fitOneCommand(const Job& job, const Paths& paths) {
  // The system counts each word and a pointer to it, the environment too. It never takes more.
  constexpr std::size_t most = 6 << 20, pointer = 8, forOptions = 1000;
  const Session& session = job.session;
  std::size_t size =
      session.client.size() + session.root.size() + job.line.message.size() + forOptions;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    size += std::strlen(*variable) + 1 + pointer;
  }
  for (const auto& path : paths) size += asArgument(path).size() + 1 + pointer;
  if (size <= std::min(most, static_cast<std::size_t>(sysconf(_SC_ARG_MAX)))) return true;
  complain("the names of " + std::to_string(paths.size()) +
           " files are more than one command line holds; name fewer, such as one directory");
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
  const std::string& directory = job.session.directory;
  Paths changed;
  FileGroups toSearch;
  for (const auto& group : findOwnFiles(job)) {
    if (group.isWhole) {
      toSearch.push_back(group);
    } else {
      for (const auto& file : group.files) changed.push_back(file.path);
    }
  }
  const std::size_t named = changed.size();
  if (!toSearch.empty() && !addChanged(job, toSearch, changed)) return exitFailure;
  if (!fitOneCommand(job, changed)) return exitFailure;
  for (std::size_t i = named; i < changed.size(); ++i) say("committing " + shown(changed[i]));
  const FileGroups before = findFiles(directory, changed);
  const int status = runAsOne(job, changed, "commit", [&](const char* file) {
    return job.provider->checkin(file, job.line.message.c_str());
  });
  const bool hasSaid = sayChanges(before, findFiles(directory, changed), describeCommit);
  if (status == exitSuccess && !hasSaid) say("nothing is modified");
  return status;
}
