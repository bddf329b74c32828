#include <algorithm>
#include <set>

#include "changes.h"
#include "commands.h"
#include "console.h"
#include "files.h"
#include "kept.h"
#include "operations.h"

namespace {

// What an update has done to a file; empty for nothing.
std::string describeUpdate(const Session& session, const FileSnapshot& before,
                           const FileSnapshot& after) {
  const std::string& path = after.file.path.empty() ? before.file.path : after.file.path;
  const std::string from = before.file.revision(), to = after.file.revision();
  if (to.empty() && from.empty()) return "";
  if (to.empty()) {
    const bool isLeft = isHere(session.pathOf(path));
    return (isLeft ? "no longer under version control: " : "removed ") + shown(path);
  }
  if (after.hasOpenConflict) return "conflict in " + shown(path);
  if (from != to) {
    return describeChange(after.file.entry->isMerged() ? "merged" : "updated", path, from, to);
  }
  if (after.here == before.here && after.contents == before.contents) return "";
  return describeChange(before.here ? "reverted" : "restored", path, "", to);
}

// Tells what is to be done about conflicts that are open, and returns the exit status.
int explainConflicts(const Snapshots& files) {
  std::size_t texts = 0, binaries = 0;
  for (const auto& [path, file] : files) {
    if (file.hasOpenConflict) ++(file.file.entry->isBinary() ? binaries : texts);
  }
  const auto say = [](std::size_t count, const std::string& kind, const std::string& advice) {
    if (count == 0) return;
    complain(std::to_string(count) + ' ' + kind +
             (count == 1 ? " has a conflict: " : "s have conflicts: ") + advice);
  };
  say(texts, "file", "edit the conflict markers away, then commit");
  say(binaries, "binary file",
      "it is the repository's now, and yours is .#NAME.REVISION beside it; copy that back and "
      "commit, or revert");
  return texts + binaries == 0 ? exitSuccess : exitFailure;
}

// Why an update that reported success did not touch a path that the user named; empty when there is
// nothing to report.
std::string whyNotUpdated(Job& job, const std::string& path, bool wasListed) {
  const VersionedFile file = findFile(job.session.directory, path);
  const std::string place = job.session.pathOf(path);
  const bool here = isHere(place);
  if (path == ".") return "";
  if (!file.entry.has_value()) {
    const bool isPruned = wasListed && !here;
    if (isPruned || readEntries(place).has_value()) return "";
    if (here) return "is not under version control";
    return isRemoteDirectory(job.provider, path)
               ? "is a directory in the repository; cvs update -d " + path + " brings it"
               : "is known neither here nor in the repository";
  }
  if (file.entry->directory) return here ? "" : "is a missing directory; cvs update -d restores it";
  if (kindOf(place) == FileKind::directory) return "has a directory in its place; move that away";
  if (file.isRemoved()) return "is still scheduled for removal; add brings it back";
  return file.isAdded() ? "is still scheduled to be added" : "";
}

int update(Job& job, bool clean) {
  const std::string& directory = job.session.directory;
  const std::vector<FileGroup> groups = findFiles(directory, job.paths);
  if (reachesForeign(groups, job)) return exitFailure;
  const Snapshots before = takeSnapshots(directory, groups);
  std::set<std::string> listed;
  for (const auto& path : job.paths) {
    if (findFile(directory, path).entry.has_value()) listed.insert(path);
  }
  KeptFiles kept(directory);
  bool hasConflicts = false;
  for (const auto& [path, file] : before) {
    hasConflicts = hasConflicts || file.hasOpenConflict;
    // The client would leave such a file alone, or refuse it.
    if (clean && file.hasOpenConflict) kept.keep(path, file.file.revision());
    kept.keepBackup(path, file.file.revision());
  }
  int status = runAsOne(
      job, job.paths, "update",
      [&](const char* file) { return job.provider->getFile(file, !clean); },
      /*mayFailSilently=*/hasConflicts && !clean);
  kept.end(status == exitSuccess);

  const Snapshots after = takeSnapshots(directory, findFiles(directory, job.paths));
  const bool hasSaid =
      sayChanges(before, after, [&](const FileSnapshot& old, const FileSnapshot& now) {
        const std::string line = describeUpdate(job.session, old, now);
        return line.empty() ? line : line + kept.describe(old.file.path, old.file.revision());
      });
  if (explainConflicts(after) != exitSuccess || status != exitSuccess) return exitFailure;
  for (const auto& path : job.paths) {
    const std::string reason = whyNotUpdated(job, path, listed.count(path) != 0);
    if (reason.empty()) continue;
    complain(shown(path) + ' ' + reason);
    status = exitFailure;
  }
  if (status == exitSuccess && !hasSaid) say(clean ? "nothing to revert" : "nothing to update");
  return status;
}

}  // namespace

int updateFiles(Job& job) {
  return update(job, job.line.clean);
}

int revertFiles(Job& job) {
  return update(job, true);
}
