#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "commands.h"
#include "console.h"
#include "files.h"
#include "operations.h"
#include "progress.h"
#include "root.h"
#include "workingCopy.h"

namespace fs = std::filesystem;  // for the text of paths only

namespace {

bool holds(const std::optional<Names>& names, const std::string& name) {
  return names.has_value() && std::find(names->begin(), names->end(), name) != names->end();
}

// Why no working copy can be made in a directory; empty when one can.
std::string findObstacle(const std::string& directory) {
  const std::string parent = fs::path(directory).parent_path();
  if (kindOf(parent) != FileKind::directory) return "there is no directory " + parent;
  const bool isThere = isHere(directory);
  if (isThere && (kindOf(directory) != FileKind::directory || !listNames(directory).empty())) {
    return directory + " is neither empty nor a working copy";
  }
  if (access((isThere ? directory : parent).c_str(), W_OK | X_OK) == 0) return "";
  return "cannot write to " + (isThere ? directory : parent) + ": " + std::strerror(errno);
}

// Why a working copy that is there is not the one that is asked for; empty when it may be.
std::string findDifference(Job& job, const std::string& directory, const fs::path& module) {
  const std::string root = readRecordedRoot(directory), found = job.provider->getRemoteRoot();
  const std::string what = directory + " already is a working copy, of " + found;
  if (!isSameRepository(root, job.session.root)) return what + " in the repository " + root;
  if (repositoryPath(found) == module) return "";
  // A module may have another name than its directory. So only another directory is different.
  const auto around = listRepository(job.provider, module.parent_path(), true);
  const bool isDirectory = module.empty() || holds(around, module.filename());
  return isDirectory ? what : "";
}

// Brings the files that a checkout, if it was interrupted, has left out.
int bringMissing(Job& job, const std::string& directory, const std::string& remote) {
  Paths missing;
  for (const auto& name : listRepository(job.provider, remote, false).value_or(Names())) {
    const bool isMissing =
        !isHere(directory + '/' + name) && !findFile(directory, name).entry.isRemoved();
    if (isMissing) missing.push_back(name);
  }
  const int status = runAsOne(job, missing, "update",
                              [&](const char* file) { return job.provider->getFile(file, true); });
  for (const auto& name : missing) {
    if (isHere(directory + '/' + name)) say("restored " + shown(name));
  }
  return status;
}

// Names the directories that the checkout has left out.
void nameMissingDirectories(Job& job, const std::string& directory, const std::string& remote) {
  std::string missing;
  for (const auto& name : listRepository(job.provider, remote, true).value_or(Names())) {
    if (name != "CVSROOT" && !isHere(directory + '/' + name)) missing += ' ' + shown(name);
  }
  if (!missing.empty())
    say("directories that are not here:" + missing + "; cvs update -d brings them");
}

}  // namespace

int checkOut(Job& job) {
  Provider& provider = job.provider;
  const std::string& remote = job.line.arguments[1];
  const fs::path local = fs::path(job.session.directory) / job.line.arguments[0];
  const fs::path module = repositoryPath(remote);
  const std::string directory = resolveExisting(fs::absolute(local));
  const auto fail = [](const std::string& reason) {
    complain(reason);
    return exitFailure;
  };
  const bool wasThere = provider->setRoots(directory.c_str());
  const std::string obstacle =
      wasThere ? findDifference(job, directory, module) : findObstacle(directory);
  if (!obstacle.empty()) return fail(obstacle);
  if (!wasThere &&
      holds(listRepository(provider, module.parent_path(), false), module.filename())) {
    return fail(shown(remote) + " is a file; check out the directory that it is in");
  }
  const bool isThere = wasThere || waitFor("checkout", [&] {
                         return provider->setRoots(directory.c_str(), remote.c_str());
                       });
  if (!isThere) return reportFailure(provider, "checkout " + directory);
  if (!provider->setRoots(directory.c_str())) return fail(directory + " is not a working copy");
  const std::string found = provider->getRemoteRoot(), listed = found == "." ? "" : found;
  say(directory + (wasThere ? " already is" : " is") + " a working copy of " + found);
  const int status = wasThere ? bringMissing(job, directory, listed) : exitSuccess;
  nameMissingDirectories(job, directory, listed);
  return status;
}
