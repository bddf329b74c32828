#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iostream>

#include "commands.h"
#include "progress.h"
#include "report.h"
#include "temporary.h"

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

// The names in a repository directory; none after a failure, which is reported as that of `what`.
std::optional<Names> list(Provider& provider, const std::string& directory, bool directories,
                          const std::string& what) {
  const Progress waiting = showWaiting("rls");
  const int count = provider->iterateRemoteDirectory(directory.c_str(), directories);
  Names names;
  while (const char* name = provider->getRemoteDirectoryEntry()) names.emplace_back(name);
  if (!hasListingFailed(provider.object(), count)) return names;
  provider.fail(what);
  return std::nullopt;
}

bool holds(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// A repository path as the client takes it; empty for the top.
std::string repositoryPath(const std::string& path) {
  std::string normal = fs::path(path).lexically_normal().string();
  normal.erase(0, normal.find_first_not_of('/'));
  if (!normal.empty() && normal.back() == '/') normal.pop_back();
  return normal == "." ? "" : normal;
}

// Whether a directory can be made; reports why not. The client would make it even in place of a
// file or below a file, and then nobody could check out the module any more.
bool canMakeDirectory(Provider& provider, const std::string& directory) {
  const std::string what = "mkdir " + directory;
  std::string parent;
  for (const auto& piece : fs::path(directory)) {
    if (piece == "CVS" || piece == "CVSROOT" || piece == "Attic") {
      complain(what + ": the client keeps the name " + piece.string() + " for itself");
      return false;
    }
    const std::string path = parent.empty() ? piece.string() : parent + '/' + piece.string();
    const auto files = list(provider, parent, false, what);
    if (!files.has_value()) return false;
    if (holds(*files, piece.string())) {
      complain(what + ": the repository has a file " + path);
      return false;
    }
    const auto directories = list(provider, parent, true, what);
    if (!directories.has_value()) return false;
    if (!holds(*directories, piece.string())) return true;  // so nothing is below it
    parent = path;
  }
  complain(what + ": the repository has that directory");
  return false;
}

// Whether the client takes the text for a vendor tag.
bool isTag(const std::string& text) {
  const auto fits = [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '_'; };
  return !text.empty() && std::isalpha(static_cast<unsigned char>(text[0])) != 0 &&
         std::all_of(text.begin(), text.end(), fits);
}

// A local repository can be written in two ways; this gives one of them.
std::string withoutMethod(const std::string& root) {
  constexpr char local[] = ":local:";
  std::string path = root.rfind(local, 0) == 0 ? root.substr(sizeof local - 1) : root;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// The repository directory that the client checks out for a module; empty when it fails.
std::string resolveModule(const Session& session, const std::string& module) {
  const TemporaryDirectory scratch;
  const std::string directory = scratch.path() + "/module";
  Provider provider(session.library, session.configuration);
  const Progress waiting = showWaiting("checkout");
  const bool resolved = provider->setRoots(directory.c_str(), module.c_str()) &&
                        provider->setRoots(directory.c_str());
  return resolved ? provider->getRemoteRoot() : "";
}

// Whether an existing working copy is the one that is asked for; reports why not.
bool isWorkingCopyOf(Provider& provider, const Session& session, const std::string& directory,
                     const std::string& module) {
  const std::string wantedRoot = provider->getRepositoryListEntry();
  const std::string root = readRecordedRoot(directory);
  const std::string found = provider->getRemoteRoot();
  if (withoutMethod(root) != withoutMethod(wantedRoot)) {
    complain(directory + " already is a working copy, of " + found + " in the repository " + root);
    return false;
  }
  if (repositoryPath(found) == repositoryPath(module)) return true;
  if (found == resolveModule(session, module)) return true;
  complain(directory + " already is a working copy, of " + found);
  return false;
}

}  // namespace

int listRepository(Provider& provider, const std::string& path, bool directories) {
  const std::string directory = repositoryPath(path);
  const auto names =
      list(provider, directory, directories, "ls " + (directory.empty() ? "." : directory));
  if (!names.has_value()) return exitFailure;
  for (const auto& name : *names) say(name);
  return exitSuccess;
}

int makeDirectory(Provider& provider, const std::string& path, const std::string& user) {
  const std::string directory = repositoryPath(path);
  if (directory.empty() || directory[0] == '-') {
    complain("mkdir " + path + ": that is " +
             (directory.empty() ? "the top of the repository" : "an option to the client"));
    return exitFailure;
  }
  if (!canMakeDirectory(provider, directory)) return exitFailure;

  const std::size_t slash = directory.rfind('/');
  const bool isNested = slash != std::string::npos;
  const std::string parent = isNested ? directory.substr(0, slash) : "";
  const std::string name = isNested ? directory.substr(slash + 1) : directory;
  const std::string root = provider->getRepositoryListEntry();
  provider->login(user.c_str(), nullptr, root.c_str());  // records only: no login is required here
  const bool created = [&] {
    const Progress waiting = showWaiting("import");
    return provider->createDirectory(isNested ? parent.c_str() : nullptr, name.c_str());
  }();
  if (!created) {
    provider.fail("mkdir " + directory);
    if (!isTag(user)) complain("\"" + user + "\" is no valid tag; give one with --user");
    return exitFailure;
  }
  say("created " + directory);
  return exitSuccess;
}

int checkOut(Provider& provider, const Session& session, const std::string& local,
             const std::string& remote) {
  const fs::path path = fs::absolute(fs::path(session.directory) / local).lexically_normal();
  const std::string directory = path.filename().empty() ? path.parent_path() : path;
  const std::string parent = fs::path(directory).parent_path().string();
  if (!fs::is_directory(parent)) {
    complain("there is no directory " + parent);
    return exitFailure;
  }
  const bool wasThere = provider->setRoots(directory.c_str());
  if (wasThere && !isWorkingCopyOf(provider, session, directory, remote)) return exitFailure;
  const bool isThere = wasThere || [&] {
    const Progress waiting = showWaiting("checkout");
    return provider->setRoots(directory.c_str(), remote.c_str());
  }();
  if (!isThere) return provider.fail("checkout " + local);
  if (!provider.tie(directory)) return exitFailure;
  say(directory + (wasThere ? " already is" : " is") + " a working copy of " +
      provider->getRemoteRoot());
  return exitSuccess;
}
