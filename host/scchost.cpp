// The command-line host: drives a source-code-control provider as a development environment would.

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>
#include <set>
#include <thread>

#include "commands.h"
#include "console.h"
#include "files.h"

namespace fs = std::filesystem;  // for the text of paths only

namespace {

// What a command needs beyond a provider.
enum Needs {
  nothing = 0,
  files = 1,       // a working copy; its arguments are paths there
  everything = 3,  // the same; without a path it takes the whole working copy
  adapter = 4,     // it uses options that the stock client lacks
  login = 8,       // login and logout run the client
};

constexpr std::size_t any = std::numeric_limits<std::size_t>::max();

const std::vector<Command> commands = {
    {"status", "[PATH...]", 0, any, "Show the state of files", everything, showStatus},
    {"diff", "[PATH...]", 0, any, "Show what has changed", everything, showDifferences,
     exitTrouble},
    {"add", "PATH...", 1, any, "Put files and directories under version control", files, addFiles},
    {"commit", "[PATH...]", 0, any, "Commit what has changed", everything, commitFiles},
    {"update", "[PATH...]", 0, any, "Bring files up to date", everything, updateFiles},
    {"revert", "PATH...", 1, any, "Replace files by the repository's", files, updateFiles},
    {"cat", "PATH", 1, 1, "Write one revision of a file", files, printRevision},
    {"edit", "PATH...", 1, any, "Announce that files are being edited", files, editFiles},
    {"unedit", "PATH...", 1, any, "Withdraw edits without changes", files | adapter, uneditFiles},
    {"ls", "[PATH]", 0, 1, "List the files of a repository directory", nothing, listDirectory},
    {"mkdir", "PATH", 1, 1, "Create a repository directory", nothing, makeDirectory},
    {"checkout", "LOCAL REMOTE", 2, 2, "Make LOCAL a working copy of REMOTE", nothing, checkOut},
    {"login", "", 0, 0, "Log in as the user that ROOT names", adapter | login, logIn},
    {"logout", "", 0, 0, "Log out", login, logOut},
    {"run", "[SCRIPT]", 0, 1, "Run operations by the interface's own names", adapter, runScript},
};

fs::path besideProgram(const std::string& name) {
  return fs::path(resolve("/proc/self/exe").value_or("")).parent_path() / name;
}

// A file, not a name for the loader to look up.
std::string findLibrary(const CommandLine& line) {
  if (!line.library.empty()) return fs::absolute(line.library);
  const fs::path beside = besideProgram(SCCHOST_LIBRARY_NAME);
  if (kindOf(beside) != FileKind::none) return beside;
  return besideProgram(SCCHOST_LIBRARY_DIRECTORY) / SCCHOST_LIBRARY_NAME;
}

// The client starts in directories of the working copy, so a path has to be absolute.
std::string findClient(const CommandLine& line) {
  std::string client = line.client;
  if (client.empty()) client = fromEnvironment("CVS_GNU_CLIENT", "cvs");
  return client.find('/') == client.npos ? client : fs::absolute(client).string();
}

Session configure(const CommandLine& line) {
  const int needs = line.command->needs;
  std::string client = findClient(line), root = line.root;
  // The adapter's shell takes time, so it runs only where its options are needed.
  const fs::path adapted = besideProgram("cvs-gnu");
  const bool isAdapted = (needs & adapter) != 0 && line.client.empty();
  if (isAdapted && kindOf(adapted) == FileKind::regular) {
    setenv("CVS_GNU_CLIENT", client.c_str(), 1);
    client = adapted;
  }
  if (root.empty()) root = readRecordedRoot(line.directory);
  if (root.empty()) root = fromEnvironment("CVSROOT");
  // An ssh server turns away more than ten newcomers at a time.
  const unsigned usual = std::clamp(std::thread::hardware_concurrency(), 4u, 8u);
  const unsigned jobs = line.jobs == 0 ? usual : static_cast<unsigned>(line.jobs);
  return {line.directory, client, root, line.edit, (needs & login) != 0, jobs};
}

// The paths in the form that the provider takes, each once. False, reported, for a bad path.
bool resolvePaths(const CommandLine& line, Paths& paths) {
  std::set<std::string> seen;
  for (const auto& path : line.arguments) {
    const auto relative = relativePath(line.directory, path);
    if (!relative.has_value()) {
      complain(shown(path) + " lies outside the working copy " + line.directory +
               "; name another one with -C");
      return false;
    }
    if (seen.insert(*relative).second) paths.push_back(*relative);
  }
  if (paths.empty()) paths.emplace_back(".");
  return true;
}

// Why a command cannot run; empty when it can.
std::string findObstacle(const Job& job, bool needsFiles) {
  const std::string& directory = job.session.directory;
  if (needsFiles && !job.provider->setRoots(directory.c_str())) {
    return directory + " is not a working copy: it has no CVS/Repository that can be read";
  }
  if (job.session.root.empty()) {
    return "which repository? " + directory +
           "/CVS/Root does not say, and CVSROOT is not set; name one with --root";
  }
  for (const auto& path : job.paths) {
    const auto foreign = needsFiles ? findForeign(job.session, path) : std::nullopt;
    if (!foreign.has_value()) continue;
    return shown(path) + " belongs to another repository; name its working copy with -C " +
           shown(job.session.pathOf(*foreign));
  }
  return "";
}

int runCommand(const CommandLine& line, std::FILE* input) {
  const auto giveUp = [&](const std::string& reason) {
    complain(reason);
    return line.command->failure;
  };
  if (kindOf(line.directory) != FileKind::directory) {
    return giveUp("there is no directory " + line.directory);
  }
  const bool needsFiles = (line.command->needs & files) != 0;
  Paths paths;
  if (needsFiles && !resolvePaths(line, paths)) return exitUsage;
  Session session = configure(line);
  const std::string error = loadLibrary(findLibrary(line), session);
  if (!error.empty()) return giveUp(error);
  Provider provider(session);
  Job job = {line, session, provider, input, paths};
  const std::string obstacle = findObstacle(job, needsFiles);
  if (!obstacle.empty()) return giveUp(obstacle);
  const int status = line.command->run(job);
  const std::string client = findClient(line);
  setenv("CVS_GNU_CLIENT", client.c_str(), 1);
  constexpr char look[] = "command -v -- \"$CVS_GNU_CLIENT\" >/dev/null";
  if (status == exitSuccess || std::system(look) == 0) return status;
  return giveUp("there is no program " + client + "; install it, or name another with --client");
}

}  // namespace

int main(int argc, char** argv) {
  signal(SIGCHLD, SIG_DFL);  // a parent that ignores it hands that down, and ends would be lost
  int failure = exitFailure;
  try {
    const FilePointer input = takeStandardInput();
    const CommandLine line = readCommandLine(argc, argv, commands);
    failure = line.command->failure;
    const int status = runCommand(line, input.get());
    if (std::cout.flush()) return status;
    complain("cannot write the standard output");
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return failure;
}
