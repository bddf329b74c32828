#include <algorithm>
#include <map>

#include "console.h"
#include "files.h"
#include "kept.h"
#include "operations.h"

namespace {

// What an update has done to a file; empty for nothing.
std::string describeUpdate(const Session& session, const File& before, const File& after) {
  const std::string& path = after.path.empty() ? before.path : after.path;
  const std::string &from = before.entry.revision, &to = after.entry.revision;
  if (to.empty() && from.empty()) return "";
  if (to.empty()) {
    const bool isLeft = isHere(session.pathOf(path));
    return (isLeft ? "no longer under version control: " : "removed ") + shown(path);
  }
  if (after.hasOpenConflict) return "conflict in " + shown(path);
  if (from != to) {
    return describeChange(after.entry.isMerged() ? "merged" : "updated", path, from, to);
  }
  if (after.here == before.here && after.contents == before.contents) return "";
  if (!after.isAsFetched) return "left incomplete: " + shown(path);
  return describeChange(before.here ? "reverted" : "restored", path, "", to);
}

// Tells what is to be done about conflicts that are open, and returns the exit status.
int explainConflicts(const FileGroups& groups) {
  std::size_t texts = 0, binaries = 0;
  for (const auto& group : groups) {
    for (const auto& file : group.files) {
      if (file.hasOpenConflict) ++(file.entry.isBinary() ? binaries : texts);
    }
  }
  const auto explain = [](std::size_t count, const std::string& kind, const std::string& advice) {
    const std::string have = count == 1 ? " has a conflict: " : "s have conflicts: ";
    if (count > 0) complain(std::to_string(count) + ' ' + kind + have + advice);
  };
  explain(texts, "file", "edit the conflict markers away, then commit");
  explain(binaries, "binary file",
          "it is the repository's now, and yours is .#NAME.REVISION beside it; copy that back and "
          "commit, or revert");
  return texts + binaries == 0 ? exitSuccess : exitFailure;
}

// Why an update has left a path alone that the user named; or empty.
std::string whyNotUpdated(Job& job, const File& before) {
  const std::string& path = before.path;
  const File file = findFile(job.session.directory, path);
  const FileKind kind = kindOf(job.session.pathOf(path));
  if (path == ".") return "";
  if (file.entry.isRemoved()) return "is still scheduled for removal; add brings it back";
  if (file.entry.isAdded()) return "is still scheduled to be added";
  if (file.entry.directory) {
    if (!file.here) return "is a missing directory; cvs update -d restores it";
    return readEntries(job.session.pathOf(path)) ? "" : "has no CVS/Entries that can be read";
  }
  if (file.entry.listed) {
    return kind == FileKind::directory ? "has a directory in its place; move that away" : "";
  }
  const bool isRemoved = before.entry.listed && !file.here;
  if (isRemoved || isHere(job.session.pathOf(path) + "/CVS")) return "";
  if (file.here) return "is not under version control";
  return isRemoteDirectory(job.provider, path)
             ? "is a directory in the repository; cvs update -d " + path + " brings it"
             : "is known neither here nor in the repository";
}

}  // namespace

int updateFiles(Job& job) {
  const bool clean = job.line.clean;
  const FileGroups before = findFiles(job.session, job.paths);
  if (reachesForeign(before, job)) return exitFailure;
  std::vector<File> named;
  for (const auto& path : job.paths) named.push_back(findFile(job.session.directory, path));
  std::map<std::string, KeptTexts> kept;  // by path
  bool mayFailSilently = false;
  for (const auto& group : before) {
    for (const auto& file : group.files) {
      // The client would leave a file with a conflict alone, or refuse it.
      const bool isInTheWay = clean && file.hasOpenConflict;
      mayFailSilently = mayFailSilently || (!clean && file.hasOpenConflict);
      kept.try_emplace(file.path, job.session.directory, file, file.entry.revision, isInTheWay);
    }
  }
  const auto getFile = [&](const char* file) { return job.provider->getFile(file, !clean); };
  int status = runAsOne(job, job.paths, "update", getFile, mayFailSilently);
  for (auto& [path, texts] : kept) texts.end(status == exitSuccess);

  const FileGroups after = findFiles(job.session, job.paths);
  const bool hasSaid = sayChanges(before, after, [&](const File& old, const File& now) {
    const std::string line = describeUpdate(job.session, old, now);
    return line.empty() || old.path.empty() ? line : line + kept.at(old.path).describe();
  });
  if (status != exitSuccess && !mayFailSilently) named.clear();
  for (const auto& file : named) {
    const std::string reason = whyNotUpdated(job, file);
    if (!reason.empty()) status = fail(shown(file.path) + ' ' + reason);
  }
  status = std::max(status, explainConflicts(after));
  if (status == exitSuccess && !hasSaid) say(clean ? "nothing to revert" : "nothing to update");
  return status;
}
