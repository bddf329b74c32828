#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>

#include "changes.h"
#include "commands.h"
#include "console.h"
#include "files.h"
#include "kept.h"
#include "operations.h"

namespace {

// The copies that the client has made of files being edited. A new announcement renews them.
Snapshots takeSnapshotsOfCopies(const Session& session, const std::vector<FileGroup>& groups) {
  Snapshots copies;
  for (const auto& group : groups) {
    for (const auto& file : group.files) {
      copies[file.path] = takeSnapshot(session.directory, {baseCopyOf(file.path), std::nullopt});
      copies[file.path].file = file;
    }
  }
  return copies;
}

bool announce(Job& job, const std::string& path, bool clean) {
  return runOn(job, path, "edit",
               [&](const char* file) { return job.provider->checkout(file, nullptr, clean); });
}

bool fetch(Job& job, const std::string& path, bool keepChanges) {
  return runOn(job, path, "update",
               [&](const char* file) { return job.provider->getFile(file, keepChanges); });
}

// Whether the files of a directory are known; if not, that is reported.
bool isReadable(const FileGroup& group) {
  if (group.state == FileGroup::State::missing) {
    complain(shown(group.directory) + " is a missing directory; cvs update -d restores it");
  } else if (group.state == FileGroup::State::unreadable) {
    complain("cannot tell what is in " + shown(group.directory));
  }
  return group.state == FileGroup::State::readable;
}

// Whether the client is going to replace a file by the repository's; if not, that is reported.
bool isReplaceable(Job& job, const FileSnapshot& seen) {
  const std::string& path = seen.file.path;
  const FileState state = askStatus(job.provider.object(), path.c_str());
  const bool isTold = state.statusText != "missing" || !seen.here || seen.hasOpenConflict;
  if (state.known && isTold) return true;
  complain(shown(path) + " cannot be replaced: the provider tells no state of it");
  return false;
}

// Replaces a file by the repository's and announces an edit. Returns whether that succeeded.
bool editClean(Job& job, const VersionedFile& file) {
  const FileSnapshot before = takeSnapshot(job.session.directory, file);
  if (!isReplaceable(job, before)) return false;
  KeptFiles kept(job.session.directory);
  // The client would not replace it, and the provider would not ask it to.
  if (before.hasOpenConflict) kept.keep(file.path, file.revision());
  kept.keepBackup(file.path, file.revision());
  const bool isFetched = !before.hasOpenConflict || fetch(job, file.path, false);
  const bool succeeded = isFetched && announce(job, file.path, !before.hasOpenConflict);
  kept.end(succeeded);
  if (succeeded || kept.isReplaced(file.path, file.revision())) {
    say((succeeded ? "editing " : "reverted ") + shown(file.path) +
        kept.describe(file.path, file.revision()));
  }
  return succeeded;
}

int editAllClean(Job& job) {
  int status = exitSuccess;
  for (const auto& group : findOwnFiles(job)) {
    if (!isReadable(group)) status = exitFailure;
    for (const auto& file : group.files) {
      if (!editClean(job, file)) status = exitFailure;
    }
  }
  return status;
}

// Whether unedit would put back just what is there.
bool isUnchanged(const std::string& file) {
  return !readBaseRevision(file).empty() && haveSameBytes(file, baseCopyOf(file));
}

// Why the edit of a file is not withdrawn, with the ways out.
std::string describeRefusal(const Session& session, const VersionedFile& file,
                            const std::string& baseRevision) {
  const bool hasCopy = kindOf(baseCopyOf(session.pathOf(file.path))) == FileKind::regular;
  std::string reason = " has changed since its edit was announced, and unedit would discard that";
  if (baseRevision.empty() || !hasCopy) {
    reason = " cannot be compared with the copy from its edit";
  } else if (baseRevision != file.revision()) {
    reason = " was updated since its edit was announced, and unedit would put revision " +
             baseRevision + " back";
  }
  return shown(file.path) + reason +
         ": commit it; or edit it again and then unedit it, which keeps the text; or pass --revert";
}

// Waits until the second is over in which the copy from a file's edit was last changed. The client
// tells a change by the second, and would take that text for the one that is fetched now.
void waitForNewSecond(const std::string& copy) {
  struct stat found = {};
  if (stat(copy.c_str(), &found) == -1 || found.st_mtim.tv_sec != time(nullptr)) return;
  std::this_thread::sleep_until(std::chrono::system_clock::from_time_t(found.st_mtim.tv_sec + 1));
}

// Withdraws the edit of one file. The client puts the copy from the time of the edit back, so what
// has to survive is looked at right before.
int withdraw(Job& job, const VersionedFile& file) {
  const std::string& path = file.path;
  const std::string place = job.session.pathOf(path);
  const std::string baseRevision = readBaseRevision(place);
  const FileSnapshot before = takeSnapshot(job.session.directory, file);
  const bool isSafe = !before.here || isUnchanged(place);
  if (!isSafe && !job.line.revert) {
    complain(describeRefusal(job.session, file, baseRevision));
    return exitFailure;
  }
  if (job.line.revert && !isReplaceable(job, before)) return exitFailure;
  KeptFiles kept(job.session.directory);
  if (!isSafe || (before.hasOpenConflict && job.line.revert)) kept.keep(path, file.revision());
  kept.keepBackup(path, baseRevision);
  waitForNewSecond(baseCopyOf(place));
  // The client fails for a file that is not here.
  if (!isHere(place) && !fetch(job, path, !job.line.revert)) return exitFailure;
  if (!isHere(place)) {
    complain(shown(path) + " is being edited, but update does not bring it back");
    return exitFailure;
  }
  const bool needsNewCopy = !job.line.revert && !isUnchanged(place);
  const bool succeeded = (!needsNewCopy || announce(job, path, false)) &&
                         runOn(job, path, "unedit", [&](const char* name) {
                           return job.provider->undoCheckout(name, job.line.revert);
                         });
  kept.end(succeeded);
  if (!before.here) say("restored " + shown(path));
  const bool isReplaced = kept.isReplaced(path, baseRevision);
  if (succeeded || isReplaced) {
    say((isReplaced ? "reverted " : "released ") + shown(path) + kept.describe(path, baseRevision));
  }
  return succeeded ? exitSuccess : exitFailure;
}

}  // namespace

int editFiles(Job& job) {
  if (job.line.clean) return editAllClean(job);
  const auto groups = findFiles(job.session.directory, job.paths);
  if (reachesForeign(groups, job)) return exitFailure;
  const Snapshots before = takeSnapshotsOfCopies(job.session, groups);
  int status = exitSuccess;
  for (const auto& path : job.paths) {
    if (!announce(job, path, false)) status = exitFailure;
  }
  const bool hasSaid =
      sayChanges(before, takeSnapshotsOfCopies(job.session, groups),
                 [](const FileSnapshot& old, const FileSnapshot& now) {
                   return now.contents == old.contents ? "" : "editing " + shown(now.file.path);
                 });
  if (!hasSaid && status == exitSuccess) say("nothing to edit");
  return status;
}

int uneditFiles(Job& job) {
  int status = exitSuccess;
  bool isAnyEdited = false;
  for (const auto& group : findOwnFiles(job)) {
    if (!isReadable(group)) status = exitFailure;
    for (const auto& file : group.files) {
      const bool isEdited = isHere(baseCopyOf(job.session.pathOf(file.path)));
      isAnyEdited = isAnyEdited || isEdited;
      const bool isNamed =
          std::find(job.paths.begin(), job.paths.end(), file.path) != job.paths.end();
      if (isEdited) {
        status = std::max(status, withdraw(job, file));
      } else if (isNamed) {
        complain(shown(file.path) + " is not being edited");
        status = exitFailure;
      }
    }
  }
  if (!isAnyEdited && status == exitSuccess) say("nothing is being edited");
  return status;
}
