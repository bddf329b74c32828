#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "console.h"
#include "files.h"
#include "kept.h"
#include "operations.h"

namespace {

bool announce(Job& job, const std::string& path) {
  return runOn(job, path, "edit",
               [&](const char* file) { return job.provider->checkout(file, nullptr, false); });
}

bool fetch(Job& job, const std::string& path, bool keepChanges) {
  return runOn(job, path, "update",
               [&](const char* file) { return job.provider->getFile(file, keepChanges); });
}

bool isEdited(const Job& job, const File& file) {
  return isHere(baseCopyOf(job.session.pathOf(file.path)));
}

// Whether the client is going to replace a file by the repository's; if not, that is reported.
bool isReplaceable(Job& job, const File& file) {
  const FileState state = askStatus(job.provider.object(), file.path.c_str());
  const bool isTold = state.statusText != "missing" || !file.here || file.hasOpenConflict;
  if (state.known && isTold) return true;
  complain(shown(file.path) + " cannot be replaced: the provider tells no state of it");
  return false;
}

// Replaces a file by the repository's and announces an edit. Returns the exit status.
int editClean(Job& job, const File& file) {
  if (!isReplaceable(job, file)) return exitFailure;
  KeptTexts kept(job.session.directory, file, file.entry.revision, file.hasOpenConflict);
  // The provider would replace only what it takes for modified.
  const bool succeeded = fetch(job, file.path, false) && announce(job, file.path);
  kept.end(succeeded);
  const std::string verb = succeeded ? "editing " : "replaced ";
  if (succeeded || kept.isReplaced()) say(verb + shown(file.path) + kept.describe());
  return succeeded ? exitSuccess : exitFailure;
}

// Whether unedit would put back just what is there.
bool isUnchanged(const std::string& place) {
  return !readBaseRevision(place).empty() && haveSameBytes(place, baseCopyOf(place));
}

// Why the edit of a file is not withdrawn, with the ways out.
std::string describeRefusal(const Job& job, const File& file, const std::string& baseRevision) {
  const std::string copy = baseCopyOf(job.session.pathOf(file.path));
  std::string reason = " has changed since its edit was announced, and unedit would discard that";
  if (baseRevision.empty() || kindOf(copy) != FileKind::regular) {
    reason = " cannot be compared with the copy from its edit";
  } else if (baseRevision != file.entry.revision) {
    reason = " was updated since its edit was announced, and unedit would put revision " +
             baseRevision + " back";
  }
  return shown(file.path) + reason +
         ": commit it; or edit it again and then unedit it, which keeps the text; or pass --revert";
}

// Brings a file that is being edited back, as the client fails for one that is not here.
bool bringBack(Job& job, const File& file) {
  // The client goes by seconds, and must not take the copy from the edit for what is fetched now.
  struct stat copy = {};
  stat(baseCopyOf(job.session.pathOf(file.path)).c_str(), &copy);
  while (copy.st_mtim.tv_sec == time(nullptr)) usleep(10000);
  if (!fetch(job, file.path, !job.line.revert)) return false;
  if (isHere(job.session.pathOf(file.path))) return true;
  complain(shown(file.path) + " is being edited, but update does not bring it back");
  return false;
}

// Withdraws the edit of one file and returns the exit status. The client puts the copy from the
// time of the edit back, so what has to survive is looked at right before.
int withdraw(Job& job, const File& file) {
  const bool revert = job.line.revert;
  const std::string place = job.session.pathOf(file.path), revision = readBaseRevision(place);
  const bool isSafe = !file.here || isUnchanged(place);
  if (!isSafe && !revert) return fail(describeRefusal(job, file, revision));
  if (revert && !isReplaceable(job, file)) return exitFailure;
  const bool isInTheWay = revert && (!isSafe || file.hasOpenConflict);
  KeptTexts kept(job.session.directory, file, revision, isInTheWay);
  if (!isHere(place) && !bringBack(job, file)) return exitFailure;
  const bool needsNewCopy = !revert && !isUnchanged(place);
  const bool succeeded = (!needsNewCopy || announce(job, file.path)) &&
                         runOn(job, file.path, "unedit", [&](const char* name) {
                           return job.provider->undoCheckout(name, revert);
                         });
  kept.end(succeeded);
  if (!file.here) say("restored " + shown(file.path));
  const std::string verb = !kept.isReplaced() ? "released " : succeeded ? "reverted " : "replaced ";
  if (succeeded || kept.isReplaced()) say(verb + shown(file.path) + kept.describe());
  return succeeded ? exitSuccess : exitFailure;
}

// Calls a function for each file of the job. Returns the exit status: that of a failure when the
// function returns one, or when not all files are known.
int forEachFile(const Job& job, const std::function<int(const File& file)>& handle) {
  int status = exitSuccess;
  for (const auto& group : findOwnFiles(job)) {
    const std::string name = shown(group.directory);
    if (group.state == FileGroup::State::missing) {
      status = fail(name + " is a missing directory; cvs update -d restores it");
    } else if (group.state == FileGroup::State::unreadable) {
      status = fail("cannot tell what is in " + name);
    }
    for (const auto& file : group.files) status = std::max(status, handle(file));
  }
  return status;
}

}  // namespace

int editFiles(Job& job) {
  if (job.line.clean)
    return forEachFile(job, [&](const File& file) { return editClean(job, file); });
  const FileGroups groups = findFiles(job.session, job.paths);
  if (reachesForeign(groups, job)) return exitFailure;
  int status = exitSuccess;
  for (const auto& path : job.paths) {
    if (!announce(job, path)) status = exitFailure;
  }
  const bool hasSaid = sayChanges(groups, {}, [&](const File& file, const File&) {
    return isEdited(job, file) ? "editing " + shown(file.path) : "";
  });
  if (!hasSaid && status == exitSuccess) say("nothing to edit");
  return status;
}

int uneditFiles(Job& job) {
  bool isAnyEdited = false;
  const int status = forEachFile(job, [&](const File& file) {
    const bool hasCopy = isEdited(job, file);
    isAnyEdited = isAnyEdited || hasCopy;
    if (hasCopy) return withdraw(job, file);
    return job.names(file.path) ? fail(shown(file.path) + " is not being edited") : exitSuccess;
  });
  if (!isAnyEdited && status == exitSuccess) say("nothing is being edited");
  return status;
}
