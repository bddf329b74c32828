#include <set>

#include "console.h"
#include "files.h"
#include "operations.h"

namespace {

bool isUnderControl(const std::string& directory) {
  return isHere(directory + "/CVS");
}

// Why a path cannot be added; or empty. The client would make directories in the repository for
// what does not exist, wait for a pipe, change a binary file, and commit all below a directory.
std::string findObstacle(const Job& job, const File& file) {
  const std::string path = job.session.pathOf(file.path);
  const FileKind kind = kindOf(path);
  if (kind == FileKind::none) return file.entry.isRemoved() ? "" : "does not exist";
  if (kind == FileKind::other) return "is neither a file nor a directory";
  if (kind == FileKind::directory) {
    if (isUnderControl(path)) return "is a directory under version control; name what is new in it";
    for (const auto& name : listNames(path)) {
      if (!isUnderControl(path + '/' + name)) continue;
      return "holds the working copy " + shown(name) + ", whose changes the client would commit";
    }
    return "";
  }
  if (file.entry.listed || job.line.force || !holdsNul(path)) return "";
  return "holds NUL bytes, and as text, which add makes it, it would change: mark it as binary "
         "with cvs add -kb, and commit; --force adds it where the repository's cvswrappers mark it";
}

}  // namespace

int addFiles(Job& job) {
  const Session& session = job.session;
  std::set<std::string> directories;
  std::vector<File> before;
  int status = exitSuccess;
  for (const auto& path : job.paths) {
    before.push_back(findFile(session.directory, path));
    const std::string obstacle = findObstacle(job, before.back());
    if (!obstacle.empty()) status = fail(shown(path) + ' ' + obstacle);
    for (const auto& step : stepsOf(path)) {
      const std::string place = session.pathOf(step);
      const bool isDirectory = kindOf(place) == FileKind::directory;
      if (isDirectory && !isUnderControl(place)) directories.insert(step);
    }
  }
  if (status != exitSuccess) return status;
  status = runAsOne(job, job.paths, "add", [&](const char* file) {
    return job.provider->addFile(file, job.line.message.c_str());
  });
  for (const auto& directory : directories) {
    if (isUnderControl(session.pathOf(directory))) say("added directory " + shown(directory));
  }
  for (const auto& file : before) {
    const Entry now = findFile(session.directory, file.path).entry;
    const bool isNew = !file.entry.listed || file.entry.isAdded();
    if (now.isAdded()) {
      complain(shown(file.path) + " is scheduled to be added; commit finishes it");
    } else if (file.entry.isRemoved() && now.listed && !now.isRemoved()) {
      say("restored " + shown(file.path));
    } else if (isNew && now.listed && !now.directory) {
      say("added " + shown(file.path));
    }
  }
  return status;
}
