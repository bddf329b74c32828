#include "commands.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>

#include "workingCopy.h"

namespace fs = std::filesystem;

namespace {

int fail(const Provider& provider, const std::string& operation) {
  complain(provider.describeFailure(operation));
  return exitFailure;
}

using FileOperation = std::function<bool(const char* file)>;

struct Outcome {
  int status = exitSuccess;
  Paths done;  // the files for which the operation succeeded
};

// Runs an operation on each file, going on after a failure.
Outcome forEachFile(const Provider& provider, const Paths& paths, const std::string& name,
                    const FileOperation& operation) {
  Outcome outcome;
  for (const auto& path : paths) {
    if (operation(path.c_str())) {
      outcome.done.push_back(path);
    } else {
      outcome.status = fail(provider, name + ' ' + path);
    }
  }
  return outcome;
}

// Brackets the operation, so that several files reach the client as one command.
Outcome asOneBatch(const Provider& provider, const Paths& paths, const std::string& name,
                   const FileOperation& operation) {
  if (paths.size() == 1) return forEachFile(provider, paths, name, operation);
  provider->preMulti();
  Outcome outcome = forEachFile(provider, paths, name, operation);
  if (!provider->postMulti()) return {fail(provider, name), {}};
  return outcome;
}

int confirm(const Outcome& outcome, const std::string& verb) {
  for (const auto& path : outcome.done) std::cout << verb << ' ' << path << '\n';
  return outcome.status;
}

// Whether a repository directory has a file, or else a directory, of that name.
bool isListed(const Provider& provider, const std::string& parent, const std::string& name,
              bool directories) {
  provider->iterateRemoteDirectory(parent.c_str(), directories);
  const char* entry = nullptr;
  while ((entry = provider->getRemoteDirectoryEntry()) != nullptr && name != entry) {
  }
  return entry != nullptr;
}

// A repository path as the client takes it.
std::string repositoryPath(const std::string& path) {
  std::string normal = fs::path(path).lexically_normal().string();
  if (normal.size() > 1 && normal.back() == '/') normal.pop_back();
  return normal == "." ? "" : normal;
}

// A file for the length of one command.
class TemporaryFile {
 public:
  TemporaryFile() {
    std::error_code ignored;
    path_ = (fs::temp_directory_path(ignored) / "scchostXXXXXX").string();
    const int descriptor = mkstemp(path_.data());
    made_ = descriptor != -1;
    if (made_) close(descriptor);
  }
  ~TemporaryFile() {
    if (made_) unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  bool made() const { return made_; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  bool made_ = false;
};

}  // namespace

int addFiles(const Provider& provider, const Paths& paths, const char* comment) {
  const auto add = [&](const char* file) { return provider->addFile(file, comment); };
  return confirm(asOneBatch(provider, paths, "add", add), "added");
}

int commitFiles(const Provider& provider, const Paths& paths, const char* comment) {
  const auto commit = [&](const char* file) { return provider->checkin(file, comment); };
  return confirm(asOneBatch(provider, paths, "commit", commit), "committed");
}

int updateFiles(const Provider& provider, const Paths& paths, bool clean) {
  const auto update = [&](const char* file) { return provider->getFile(file, !clean); };
  const Outcome outcome = asOneBatch(provider, paths, "update", update);
  // Conflicts, and files it does not know, are successes to the client: it only mentions them.
  const std::string words = provider->getLastError();
  if (outcome.status != exitSuccess || words.empty()) return confirm(outcome, "updated");
  std::cerr << words << '\n';
  return exitSuccess;
}

int editFiles(const Provider& provider, const Paths& paths, bool clean) {
  const auto edit = [&](const char* file) { return provider->checkout(file, nullptr, clean); };
  return confirm(forEachFile(provider, paths, "edit", edit), "editing");
}

int uneditFiles(const Provider& provider, const std::string& directory, const Paths& paths,
                bool revert) {
  // The client takes back what was changed since the edit was announced, asked for or not.
  for (const auto& file : revert ? std::vector<VersionedFile>() : findFiles(directory, paths)) {
    const FileState state = askStatus(provider.object(), file.path.c_str());
    if (!state.modified || state.text == "missing") continue;
    complain(file.path + " is modified, and unedit takes changes back: commit it, or say --revert");
    return exitFailure;
  }
  const auto unedit = [&](const char* file) { return provider->undoCheckout(file, revert); };
  return confirm(forEachFile(provider, paths, "unedit", unedit), revert ? "reverted" : "released");
}

int printRevision(const Provider& provider, const std::string& file, const std::string& revision,
                  const std::string& output) {
  const TemporaryFile fetched;
  if (!fetched.made()) {
    complain("no temporary file could be made for " + file);
    return exitFailure;
  }
  if (!provider->getTo(file.c_str(), revision.c_str(), fetched.path().c_str())) {
    return fail(provider, "cat " + file);
  }
  // The client succeeds with what it does not have, too, but then without the heading that it
  // writes to its standard error before a file. A user can make it leave that out; so an empty file
  // may have to be looked up.
  const auto size = fs::file_size(fetched.path());
  const bool headed = *provider->getLastError() != '\0';
  const bool newest = revision == "HEAD";
  if (size == 0 && !headed && !(newest && askStatus(provider.object(), file.c_str()).known)) {
    complain("the client gave nothing for revision " + revision + " of " + file);
    return exitFailure;
  }
  std::ifstream contents(fetched.path(), std::ios::binary);
  std::ofstream named;
  if (!output.empty()) named.open(output, std::ios::binary);
  std::ostream& destination = output.empty() ? std::cout : named;
  if (size > 0) destination << contents.rdbuf();
  destination.flush();
  if (destination.good()) return exitSuccess;
  complain("cannot write " + (output.empty() ? "the standard output" : output));
  return exitFailure;
}

int listRepository(const Provider& provider, const std::string& path, bool directories) {
  const std::string directory = repositoryPath(path);
  const int count = provider->iterateRemoteDirectory(directory.c_str(), directories);
  for (int i = 0; i < count; ++i) std::cout << provider->getRemoteDirectoryEntry() << '\n';
  // An empty listing and a failed one look alike, but only the latter leaves an error.
  if (count > 0 || *provider->getLastErrorCommand() == '\0') return exitSuccess;
  return fail(provider, "ls " + (directory.empty() ? "." : directory));
}

int makeDirectory(const Provider& provider, const std::string& path, const std::string& user) {
  const std::string directory = repositoryPath(path);
  const std::size_t slash = directory.rfind('/');
  const bool nested = slash != std::string::npos;
  const std::string parent = nested ? directory.substr(0, slash) : "";
  const std::string name = nested ? directory.substr(slash + 1) : directory;
  if (name.empty()) {
    complain("mkdir " + path + ": that is the top of the repository");
    return exitFailure;
  }
  for (const bool directories : {false, true}) {
    // The client would make a directory over a file, which then cannot be checked out any more.
    if (!isListed(provider, parent, name, directories)) continue;
    complain("mkdir " + directory + ": the repository has a " +
             (directories ? "directory" : "file") + " of that name");
    return exitFailure;
  }
  const std::string root = provider->getRepositoryListEntry();
  provider->login(user.c_str(), nullptr, root.c_str());  // only records: no login is required here
  if (!provider->createDirectory(nested ? parent.c_str() : nullptr, name.c_str())) {
    return fail(provider, "mkdir " + directory);
  }
  std::cout << "created " << directory << '\n';
  return exitSuccess;
}

int checkOut(const Provider& provider, const std::string& local, const std::string& remote) {
  const fs::path path = fs::absolute(local).lexically_normal();
  const std::string directory = path.filename().empty() ? path.parent_path() : path;
  if (!fs::is_directory(fs::path(directory).parent_path())) {
    complain("there is no directory " + fs::path(directory).parent_path().string());
    return exitFailure;
  }
  const bool wasThere = provider->setRoots(directory.c_str());
  if (!wasThere && !provider->setRoots(directory.c_str(), remote.c_str())) {
    return fail(provider, "checkout " + local);
  }
  if (!provider.tie(directory)) return exitFailure;
  const std::string found = provider->getRemoteRoot();
  if (wasThere && found != repositoryPath(remote)) {
    complain(directory + " already is a working copy, of " + found);
    return exitFailure;
  }
  std::cout << directory << (wasThere ? " already is" : " is") << " a working copy of " << found
            << '\n';
  return exitSuccess;
}

int logIn(const Provider& provider, const std::string& user) {
  const std::string root = provider->getRepositoryListEntry();
  std::string password;
  if (isatty(STDIN_FILENO) == 1) {
    const char* typed = getpass(("Password for " + root + ": ").c_str());
    password = typed == nullptr ? "" : typed;
  } else {
    std::getline(std::cin, password);
  }
  if (!provider->login(user.c_str(), password.c_str(), root.c_str())) {
    return fail(provider, "login");
  }
  std::cout << "logged in to " << root << '\n';
  return exitSuccess;
}

int logOut(const Provider& provider) {
  provider->logout();
  // It always succeeds, but the client may have had a reason not to.
  if (*provider->getLastErrorCommand() != '\0') return fail(provider, "logout");
  std::cout << "logged out of " << provider->getRepositoryListEntry() << '\n';
  return exitSuccess;
}
