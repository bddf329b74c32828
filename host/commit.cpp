#include <algorithm>

#include "changes.h"
#include "commands.h"
#include "console.h"
#include "files.h"
#include "operations.h"
#include "survey.h"

namespace {

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Whether a file contains the marks of a conflict, one behind the other, as the client writes them:
// the file's own name, a line, and a revision. Behind a last line without end they share its line.
bool containsMarkers(const std::string& path) {
  const std::string first = "<<<<<<< " + path.substr(path.rfind('/') + 1);
  const std::string last = ">>>>>>> ";
  std::ifstream file = openRegular(path);
  int found = 0;
  for (std::string line; found < 3 && std::getline(file, line);) {
    if (endsWith(line, "\r")) line.pop_back();
    const std::size_t end = line.find_last_not_of("0123456789.");
    const bool isNext = found == 0   ? line == first
                        : found == 1 ? endsWith(line, "=======")
                                     : end != line.npos && end + 1 < line.size() &&
                                           endsWith(line.substr(0, end + 1), last);
    if (isNext) ++found;
  }
  return found == 3;
}

std::string describeCommit(const FileSnapshot& before, const FileSnapshot& after) {
  const std::string from = before.file.revision(), to = after.file.revision();
  if (from == to || from.empty()) return "";
  const std::string& path = before.file.path;
  if (to.empty()) return "removed " + shown(path);
  return describeChange("committed", path, from == "0" ? "" : from, to);
}

// Why a commit of a whole directory must not take a file as it is; empty when it may.
std::string findObstacle(const Session& session, const FileStatus& file) {
  if (file.state == State::conflict) return "it has a conflict, to be resolved first";
  if (file.state == State::dead) return "it no longer exists in the repository; update first";
  if (file.isModified() && containsMarkers(session.pathOf(file.file.path))) {
    return "it contains conflict markers";
  }
  return "";
}

// Adds the paths of every file in the groups that a commit would take. Those that the user has
// named are not examined. False, reported, when not all are known and ready.
bool addChanged(const Job& job, const std::vector<FileGroup>& groups, Paths& changed) {
  Complaints complaints;
  survey(job.session, groups, [&](const DirectoryStatus& directory) {
    complaints.add(directory.directory, directory.reason);
    for (const auto& file : directory.files) {
      const std::string& path = file.file.path;
      const bool isNamed = std::find(job.paths.begin(), job.paths.end(), path) != job.paths.end();
      complaints.add(path, file.reason);
      if (!isNamed) complaints.addOne(path, findObstacle(job.session, file));
      const bool isScheduled = file.state == State::added || file.state == State::removed;
      if (isScheduled || file.isModified()) changed.push_back(path);
    }
  });
  if (complaints.report() == exitSuccess) return true;
  complain("nothing is committed; name the files to commit");
  return false;
}

}  // namespace

int commitFiles(Job& job) {
  const std::string& directory = job.session.directory;
  Paths changed;
  std::vector<FileGroup> toSearch;
  for (const auto& group : findOwnFiles(job)) {
    if (group.isWhole) toSearch.push_back(group);
    if (group.isWhole) continue;
    for (const auto& file : group.files) changed.push_back(file.path);
  }
  const std::size_t named = changed.size();
  if (!toSearch.empty() && !addChanged(job, toSearch, changed)) return exitFailure;
  if (!fitOneCommand(job, changed)) return exitFailure;
  for (std::size_t i = named; i < changed.size(); ++i) say("committing " + shown(changed[i]));

  const Snapshots before = takeSnapshots(directory, findFiles(directory, changed));
  const int status = runAsOne(job, changed, "commit", [&](const char* file) {
    return job.provider->checkin(file, messageOf(job));
  });
  const Snapshots after = takeSnapshots(directory, findFiles(directory, changed));
  const bool hasSaid = sayChanges(before, after, describeCommit);
  if (status == exitSuccess && !hasSaid) say("nothing is modified");
  return status;
}
