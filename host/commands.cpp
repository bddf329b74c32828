#include "commands.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>

namespace fs = std::filesystem;

namespace {

int fail(const Provider& provider, const std::string& operation) {
  complain(provider.describeFailure(operation));
  return exitFailure;
}

using FileOperation = std::function<bool(const char* file)>;

// Runs an operation on each file, going on after a failure. What was done is told afterwards.
int forEachFile(const Provider& provider, const Paths& paths, const std::string& name,
                const std::string& done, const FileOperation& operation) {
  int result = exitSuccess;
  for (const auto& path : paths) {
    if (operation(path.c_str())) {
      std::cout << done << ' ' << path << '\n';
    } else {
      result = fail(provider, name + ' ' + path);
    }
  }
  return result;
}

// Brackets the operation, so that several files reach the client as one command.
int asOneBatch(const Provider& provider, const Paths& paths, const std::string& name,
               const std::string& done, const FileOperation& operation) {
  if (paths.size() == 1) return forEachFile(provider, paths, name, done, operation);
  int result = exitSuccess;
  Paths joined;
  provider->preMulti();
  for (const auto& path : paths) {
    if (operation(path.c_str())) {
      joined.push_back(path);
    } else {
      result = fail(provider, name + ' ' + path);
    }
  }
  if (!provider->postMulti()) return fail(provider, name);
  for (const auto& path : joined) std::cout << done << ' ' << path << '\n';
  return result;
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
  return asOneBatch(provider, paths, "add", "added",
                    [&](const char* file) { return provider->addFile(file, comment); });
}

int commitFiles(const Provider& provider, const Paths& paths, const char* comment) {
  return asOneBatch(provider, paths, "commit", "committed",
                    [&](const char* file) { return provider->checkin(file, comment); });
}

int updateFiles(const Provider& provider, const Paths& paths, bool clean) {
  const int result = asOneBatch(provider, paths, "update", "updated",
                                [&](const char* file) { return provider->getFile(file, !clean); });
  // A merge with conflicts is a success to the client, which only warns of them.
  const std::string warning = provider->getLastError();
  if (result == exitSuccess && !warning.empty()) complain("cvs update said:\n" + warning);
  return result;
}

int editFiles(const Provider& provider, const Paths& paths, bool clean) {
  return forEachFile(provider, paths, "edit", "editing",
                     [&](const char* file) { return provider->checkout(file, nullptr, clean); });
}

int uneditFiles(const Provider& provider, const Paths& paths, bool revert) {
  return forEachFile(provider, paths, "unedit", revert ? "reverted" : "released",
                     [&](const char* file) { return provider->undoCheckout(file, revert); });
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
  std::ifstream contents(fetched.path(), std::ios::binary);
  std::ofstream named;
  if (!output.empty()) named.open(output, std::ios::binary);
  std::ostream& destination = output.empty() ? std::cout : named;
  if (fs::file_size(fetched.path()) > 0) destination << contents.rdbuf();
  destination.flush();
  if (destination.good()) return exitSuccess;
  complain("cannot write " + (output.empty() ? "the standard output" : output));
  return exitFailure;
}

int listRepository(const Provider& provider, const std::string& path, bool directories) {
  const int count = provider->iterateRemoteDirectory(path.c_str(), directories);
  for (int i = 0; i < count; ++i) std::cout << provider->getRemoteDirectoryEntry() << '\n';
  // An empty listing and a failed one look alike, but only the latter leaves an error.
  if (count > 0 || *provider->getLastErrorCommand() == '\0') return exitSuccess;
  return fail(provider, "ls " + path);
}

int makeDirectory(const Provider& provider, const std::string& path, const std::string& user) {
  const std::string root = provider->getRepositoryListEntry();
  provider->login(user.c_str(), nullptr, root.c_str());  // only records: no login is required here
  const std::size_t slash = path.rfind('/');
  const bool nested = slash != std::string::npos;
  const std::string parent = nested ? path.substr(0, slash) : "";
  const std::string name = nested ? path.substr(slash + 1) : path;
  if (!provider->createDirectory(nested ? parent.c_str() : nullptr, name.c_str())) {
    return fail(provider, "mkdir " + path);
  }
  std::cout << "created " << path << '\n';
  return exitSuccess;
}

int checkOut(const Provider& provider, const std::string& local, const std::string& remote) {
  const std::string directory = fs::absolute(local).lexically_normal().string();
  if (!provider->setRoots(directory.c_str(), remote.c_str())) {
    return fail(provider, "checkout " + local);
  }
  if (!provider.tie(directory)) return exitFailure;
  std::cout << directory << " is a working copy of " << provider->getRemoteRoot() << '\n';
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
