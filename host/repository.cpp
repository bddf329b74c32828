#include <algorithm>
#include <filesystem>
#include <optional>

#include "commands.h"
#include "console.h"
#include "operations.h"
#include "progress.h"
#include "root.h"

namespace fs = std::filesystem;  // for the text of paths only

namespace {

// The import that makes a directory needs a vendor tag, which is stored nowhere: nothing is
// imported.
constexpr char vendorTag[] = "scchost";

bool holds(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string parentOf(const std::string& path) {
  return fs::path(path).parent_path().string();
}

std::string nameOf(const std::string& path) {
  return fs::path(path).filename().string();
}

// The names in a repository directory; none after a failure, which is reported as that of `what`.
std::optional<Names> list(Provider& provider, const std::string& directory, bool directories,
                          const std::string& what) {
  const auto names =
      waitFor("rls", [&] { return listRepository(provider, directory, directories); });
  if (!names.has_value()) reportFailure(provider, what);
  return names;
}

// Why no directory can have this name; empty when it can.
std::string findObstacle(const std::string& name) {
  for (const char* reserved : {"CVS", "CVSROOT", "Attic"}) {
    if (name == reserved) return "the client keeps the name " + name + " for itself";
  }
  const bool isLock = name.rfind("#cvs.", 0) == 0;
  const bool isHistory = name.size() >= 2 && name.compare(name.size() - 2, 2, ",v") == 0;
  return isLock || isHistory ? "the client would take " + name + " for a file of its own" : "";
}

// Whether a directory can be made; reports why not. The client would make it even in place of a
// file or below a file, and then nobody could check out the module any more.
bool canMakeDirectory(Provider& provider, const std::string& directory) {
  const std::string what = "mkdir " + shown(directory);
  const auto refuse = [&](const std::string& reason) {
    complain(what + ": " + reason);
    return false;
  };
  if (directory.empty()) return refuse("that is the top of the repository");
  if (directory[0] == '-') return refuse("the client would take that for an option");
  for (const auto& piece : fs::path(directory)) {
    const std::string obstacle = findObstacle(piece.string());
    if (!obstacle.empty()) return refuse(obstacle);
  }
  fs::path path;
  for (const auto& piece : fs::path(directory)) {
    const std::string parent = path.string();
    path /= piece;
    const auto files = list(provider, parent, false, what);
    if (!files.has_value()) return false;
    if (holds(*files, piece.string()))
      return refuse("the repository has a file " + shown(path.string()));
    const auto directories = list(provider, parent, true, what);
    if (!directories.has_value()) return false;
    if (!holds(*directories, piece.string())) return true;  // so nothing is below it
  }
  return refuse("the repository has that directory");
}

}  // namespace

int listDirectory(Job& job) {
  const auto& given = job.line.arguments;
  const std::string directory = repositoryPath(given.empty() ? "" : given[0]);
  const std::string what = "ls " + (directory.empty() ? "." : shown(directory));
  if (directory[0] == '-') {
    complain(what + ": the client would take that for an option");
    return exitFailure;
  }
  auto names = list(job.provider, directory, job.line.directories, what);
  if (!names.has_value()) return exitFailure;
  // Of a file the client shows the path, and the provider takes the first component for a name.
  if (*names == Names{directory.substr(0, directory.find('/'))}) {
    const auto files = list(job.provider, parentOf(directory), false, what);
    if (files.has_value() && holds(*files, nameOf(directory))) names = Names{nameOf(directory)};
  }
  for (const auto& name : *names) say(shown(name));
  return exitSuccess;
}

int makeDirectory(Job& job) {
  Provider& provider = job.provider;
  const std::string directory = repositoryPath(job.line.arguments[0]);
  if (!canMakeDirectory(provider, directory)) return exitFailure;
  const std::string root = provider->getRepositoryListEntry();
  provider->login(vendorTag, nullptr, root.c_str());  // records only: no login is required here
  const std::string parent = parentOf(directory), name = nameOf(directory);
  const bool created = waitFor("import", [&] {
    return provider->createDirectory(parent.empty() ? nullptr : parent.c_str(), name.c_str());
  });
  if (!created) return reportFailure(provider, "mkdir " + shown(directory));
  say("created " + shown(directory));
  return exitSuccess;
}
