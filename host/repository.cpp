// The commands that need no working copy at first: ls, mkdir and checkout.

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "console.h"
#include "files.h"
#include "operations.h"
#include "progress.h"
#include "root.h"

namespace fs = std::filesystem;  // for the text of paths only

namespace {

// The names in a repository directory; none after a failure, which is reported as that of `what`.
std::optional<Names> list(Provider& provider, const std::string& directory, bool directories,
                          const std::string& what) {
  auto names = waitFor("rls", [&] { return listRepository(provider, directory, directories); });
  if (!names.has_value()) reportFailure(provider, what);
  return names;
}

// Why no directory can have this name; empty when it can.
std::string checkName(const std::string& name) {
  for (const char* reserved : {"CVS", "CVSROOT", "Attic"}) {
    if (name == reserved) return "the client keeps the name " + name + " for itself";
  }
  const bool isLock = name.rfind("#cvs.", 0) == 0;
  const bool isHistory = name.size() >= 2 && name.compare(name.size() - 2, 2, ",v") == 0;
  return isLock || isHistory ? "the client would take " + name + " for a file of its own" : "";
}

// Returns the exit status of a failure, which is reported, unless a directory can be made. In place
// of a file, or below one, the client would make it, and nobody could check the module out then.
int checkNewDirectory(Provider& provider, const fs::path& directory, const std::string& what) {
  if (directory.empty()) return fail(what + ": that is the top of the repository");
  if (directory.string()[0] == '-')
    return fail(what + ": the client would take that for an option");
  for (const fs::path& name : directory) {
    const std::string obstacle = checkName(name);
    if (!obstacle.empty()) return fail(what + ": " + obstacle);
  }
  fs::path path;
  for (const fs::path& name : directory) {
    const auto files = list(provider, path, false, what);
    const auto directories = list(provider, path, true, what);
    path /= name;
    if (!files.has_value() || !directories.has_value()) return exitFailure;
    if (holds(files, name)) return fail(what + ": the repository has a file " + shown(path));
    if (!holds(directories, name)) return exitSuccess;  // so nothing is below it
  }
  return fail(what + ": the repository has that directory");
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
  return repositoryPath(found) == module ? "" : what;
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

int listDirectory(Job& job) {
  const auto& given = job.line.arguments;
  const fs::path directory = repositoryPath(given.empty() ? "" : given[0]);
  const std::string what = "ls " + (directory.empty() ? "." : shown(directory));
  if (directory.string()[0] == '-')
    return fail(what + ": the client would take that for an option");
  auto names = list(job.provider, directory, job.line.directories, what);
  if (!names.has_value()) return exitFailure;
  // Of a file the client shows the path, and the provider takes the first component for a name.
  if (!directory.empty() && *names == Names{*directory.begin()}) {
    const fs::path name = directory.filename();
    if (holds(list(job.provider, directory.parent_path(), false, what), name)) names = Names{name};
  }
  for (const auto& name : *names) say(shown(name));
  return exitSuccess;
}

int makeDirectory(Job& job) {
  Provider& provider = job.provider;
  const fs::path directory = repositoryPath(job.line.arguments[0]);
  const std::string what = "mkdir " + shown(directory);
  if (checkNewDirectory(provider, directory, what) != exitSuccess) return exitFailure;
  // The vendor tag of the import behind it, which is stored nowhere. No login is required here.
  provider->login("scchost", nullptr, job.session.root.c_str());
  const std::string parent = directory.parent_path(), name = directory.filename();
  const bool isMade = waitFor("import", [&] {
    return provider->createDirectory(parent.empty() ? nullptr : parent.c_str(), name.c_str());
  });
  if (!isMade) return reportFailure(provider, what);
  say("created " + shown(directory));
  return exitSuccess;
}

int checkOut(Job& job) {
  Provider& provider = job.provider;
  const std::string& remote = job.line.arguments[1];
  const fs::path local = fs::path(job.session.directory) / job.line.arguments[0];
  const fs::path module = repositoryPath(remote);
  const std::string directory = resolveExisting(fs::absolute(local));
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
