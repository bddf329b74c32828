// The command-line host: drives a source-code-control provider as a development environment would.

#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <set>
#include <thread>

#include "commands.h"
#include "console.h"
#include "files.h"
#include "workingCopy.h"

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
    {"revert", "PATH...", 1, any, "Replace files by what the repository has", files, revertFiles},
    {"cat", "PATH", 1, 1, "Write one revision of a file", files, printRevision},
    {"edit", "PATH...", 1, any, "Announce that files are being edited", files, editFiles},
    {"unedit", "PATH...", 1, any, "Withdraw that of unchanged files", files | adapter, uneditFiles},
    {"ls", "[PATH]", 0, 1, "List the files of a repository directory", nothing, listDirectory},
    {"mkdir", "PATH", 1, 1, "Create a repository directory", nothing, makeDirectory},
    {"checkout", "LOCAL REMOTE", 2, 2, "Make LOCAL a working copy of REMOTE, its top level",
     nothing, checkOut},
    {"login", "", 0, 0, "Log in as the user that ROOT names", adapter | login, logIn},
    {"logout", "", 0, 0, "Log out", login, logOut},
    {"run", "[SCRIPT]", 0, 1, "Run operations by the interface's own names", adapter, runScript},
};

// The paths in the form that the provider takes, each once. False, reported, for a bad path.
bool resolvePaths(const CommandLine& line, Paths& paths) {
  const std::string& directory = line.settings.directory;
  std::set<std::string> seen;
  for (const auto& path : line.arguments) {
    const auto relative = relativePath(directory, path);
    if (!relative.has_value()) {
      complain(shown(path) + " lies outside the working copy " + directory +
               "; name another one with -C");
      return false;
    }
    if (seen.insert(*relative).second) paths.push_back(*relative);
  }
  return true;
}

Configuration configure(const Settings& settings, int needs) {
  std::string client = findClient(settings);
  const std::string adapted = (needs & adapter) != 0 ? findAdapter(settings) : "";
  // The adapter's shell takes time, so it runs only where its options are needed.
  if (!adapted.empty()) setenv("CVS_GNU_CLIENT", client.c_str(), 1);
  return {adapted.empty() ? client : adapted, findRoot(settings), settings.edit,
          (needs & login) != 0};
}

// An ssh server turns away more than ten newcomers at a time.
unsigned defaultJobs() {
  return std::clamp(std::thread::hardware_concurrency(), 4u, 8u);
}

// Why a command cannot run; empty when it can.
std::string findObstacle(const Job& job, bool needsFiles) {
  const std::string& directory = job.session.directory;
  if (needsFiles && !job.provider->setRoots(directory.c_str())) {
    return directory + " is not a working copy: it has no CVS/Repository that can be read";
  }
  if (job.session.configuration.root.empty()) {
    return "which repository? " + directory +
           "/CVS/Root does not say, and CVSROOT is not set; name one with --root";
  }
  for (const auto& path : job.paths) {
    const auto foreign = findForeign(directory, path);
    if (!foreign.has_value()) continue;
    return shown(path) + " belongs to another repository; name its working copy with -C " +
           shown(job.session.pathOf(*foreign));
  }
  return "";
}

int runCommand(const CommandLine& line, LineReader& input) {
  const Settings& settings = line.settings;
  const int needs = line.command->needs;
  const auto fail = [&](const std::string& reason) {
    complain(reason);
    return line.command->failure;
  };
  if (kindOf(settings.directory) != FileKind::directory) {
    return fail("there is no directory " + settings.directory);
  }
  Paths paths;
  if ((needs & files) != 0 && !resolvePaths(line, paths)) return exitUsage;
  if (paths.empty() && (needs & everything) == everything) paths.emplace_back(".");
  std::string error;
  const Session session = {settings.directory, ProviderLibrary::load(findLibrary(settings), error),
                           configure(settings, needs),
                           line.jobs == 0 ? defaultJobs() : static_cast<unsigned>(line.jobs)};
  if (session.library == nullptr) return fail(error);
  Provider provider(session);
  Job job = {line, session, provider, input, paths};
  const std::string obstacle = findObstacle(job, (needs & files) != 0);
  if (!obstacle.empty()) return fail(obstacle);
  const int status = line.command->run(job);
  const std::string client = findClient(settings);
  if (status != exitSuccess && !canRun(client)) {
    complain("there is no program " + client +
             "; install it, or name another client with --client");
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  signal(SIGCHLD, SIG_DFL);  // a parent that ignores it hands that down, and ends would be lost
  int failure = exitFailure;
  try {
    LineReader input(takeStandardInput());
    const CommandLine line = readCommandLine(argc, argv, commands);
    failure = line.command->failure;
    const int status = runCommand(line, input);
    if (std::cout.flush()) return status;
    complain("cannot write the standard output");
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return failure;
}
