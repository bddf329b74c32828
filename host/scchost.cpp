// The command-line host: drives a source-code-control provider as a development environment would.

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>
#include <optional>
#include <set>
#include <thread>

#include "commandLine.h"
#include "commands.h"
#include "report.h"

namespace {

// The parameters of a command.
struct Run {
  const CommandLine& line;
  const Session& session;
  Provider& provider;
  LineReader& input;
  Paths paths;  // the arguments of a command that takes paths, as the provider takes them
};

// What a command needs beyond a provider.
enum Needs {
  nothing = 0,
  workingCopy = 1,          // a working copy, to which the provider is tied
  pathsInIt = 2,            // its arguments are paths in the working copy
  adapter = 4,              // it uses options that the stock client lacks
  login = 8,                // login and logout run the client
  everythingByDefault = 16  // without a path it takes the whole working copy
};

struct Command {
  CommandHelp help;
  int needs;
  int (*run)(Run& run);
  int failure = exitFailure;  // the exit status when the command cannot run or complete
};

constexpr int diffTrouble = 2;  // as diff(1) ends

constexpr std::size_t any = std::numeric_limits<std::size_t>::max();
constexpr int files = workingCopy | pathsInIt;

std::string loginName() {
  const passwd* account = getpwuid(geteuid());
  return account == nullptr ? "" : account->pw_name;
}

const Command commands[] = {
    {{"status", "[PATH...]", "Show the state of files that are under control", 0, any},
     files | everythingByDefault,
     [](Run& run) {
       return showStatus(run.session, run.paths, {run.line.changed, run.line.untracked});
     }},
    {{"diff", "[PATH...]", "Show what has changed, as patch takes it", 0, any},
     files | everythingByDefault,
     [](Run& run) { return showDifferences(run.session, run.paths); },
     diffTrouble},
    {{"add", "PATH...", "Put files and their directories under control", 1, any},
     files,
     [](Run& run) { return addFiles(run.provider, run.session, run.paths, run.line.message); }},
    {{"commit", "[PATH...]", "Commit files; without any, all that are modified", 0, any},
     files,
     [](Run& run) { return commitFiles(run.provider, run.session, run.paths, run.line.message); }},
    {{"update", "[PATH...]", "Bring files up to date", 0, any},
     files | everythingByDefault,
     [](Run& run) { return updateFiles(run.provider, run.session, run.paths, run.line.clean); }},
    {{"revert", "PATH...", "Replace files by what the repository has", 1, any},
     files,
     [](Run& run) { return updateFiles(run.provider, run.session, run.paths, true); }},
    {{"cat", "PATH", "Write one revision of a file", 1, 1},
     files,
     [](Run& run) {
       return printRevision(run.provider, run.session, run.paths.front(),
                            {run.line.revision, run.line.output, run.line.force});
     }},
    {{"edit", "PATH...", "Announce that files are being edited", 1, any},
     files,
     [](Run& run) { return editFiles(run.provider, run.session, run.paths, run.line.clean); }},
    {{"unedit", "PATH...", "Withdraw that, of files that are not modified", 1, any},
     files | adapter,
     [](Run& run) { return uneditFiles(run.provider, run.session, run.paths, run.line.revert); }},
    {{"ls", "[PATH]", "List the files of a repository directory", 0, 1},
     nothing,
     [](Run& run) {
       const auto& given = run.line.arguments;
       return listRepository(run.provider, given.empty() ? "" : given[0], run.line.directories);
     }},
    {{"mkdir", "PATH", "Create a repository directory", 1, 1},
     nothing,
     [](Run& run) {
       const std::string user = run.line.user.empty() ? loginName() : run.line.user;
       return makeDirectory(run.provider, run.line.arguments[0], user);
     }},
    {{"checkout", "LOCAL REMOTE", "Make LOCAL a working copy of REMOTE, its top level", 2, 2},
     nothing,
     [](Run& run) {
       return checkOut(run.provider, run.session, run.line.arguments[0], run.line.arguments[1]);
     }},
    {{"login", "", "Log in as the user that ROOT names", 0, 0},
     adapter | login,
     [](Run& run) { return logIn(run.provider, run.input); }},
    {{"logout", "", "Log out", 0, 0}, login, [](Run& run) { return logOut(run.provider); }},
    {{"run", "[SCRIPT]", "Run operations by the interface's own names", 0, 1},
     adapter,
     [](Run& run) {
       const auto& given = run.line.arguments;
       return runScript(run.provider, given.empty() ? "" : given[0], run.input);
     }},
};

std::vector<CommandHelp> helpOfCommands() {
  std::vector<CommandHelp> help;
  for (const auto& command : commands) help.push_back(command.help);
  return help;
}

const Command& commandNamed(const std::string& name) {
  return *std::find_if(std::begin(commands), std::end(commands),
                       [&](const auto& command) { return name == command.help.name; });
}

// The paths in the form that the provider takes, each once. None, reported, for a bad path.
std::optional<Paths> resolvePaths(const CommandLine& line, int needs) {
  Paths paths;
  std::set<std::string> seen;
  if ((needs & pathsInIt) == 0) return paths;
  for (const auto& path : line.arguments) {
    const auto relative = relativePath(line.settings.directory, path);
    if (!relative.has_value()) {
      complain(path + " lies outside the working copy " + line.settings.directory +
               "; name another one with -C");
      return std::nullopt;
    }
    if (seen.insert(*relative).second) paths.push_back(*relative);
  }
  if (paths.empty() && (needs & everythingByDefault) != 0) paths.emplace_back(".");
  return paths;
}

// Completes the settings of the command line. None after a failure, which has been reported.
std::optional<Configuration> configure(const Settings& settings, int needs) {
  const auto client = findClient(settings);
  if (!client.has_value()) return std::nullopt;
  const auto root = findRoot(settings);
  if (!root.has_value()) return std::nullopt;
  // The adapter's shell takes time, so it runs only where its options are needed.
  const bool adapted = (needs & adapter) != 0 && !client->adapter.empty();
  if (adapted) setenv("CVS_GNU_CLIENT", client->program.c_str(), 1);
  return Configuration{adapted ? client->adapter : client->program, *root, settings.edit,
                       (needs & login) != 0};
}

// An ssh server turns away more than ten newcomers at a time.
unsigned defaultJobs() {
  return std::clamp(std::thread::hardware_concurrency(), 4u, 8u);
}

int runCommand(const CommandLine& line, const Command& command, LineReader& input) {
  const Settings& settings = line.settings;
  std::error_code ignored;
  if (!std::filesystem::is_directory(settings.directory, ignored)) {
    complain("there is no directory " + settings.directory);
    return command.failure;
  }
  const auto paths = resolvePaths(line, command.needs);
  if (!paths.has_value()) return exitUsage;
  Session session = {settings.directory,
                     ProviderLibrary::load(findLibrary(settings)),
                     {},
                     line.jobs == 0 ? defaultJobs() : line.jobs};
  if (session.library == nullptr) return command.failure;
  Provider provider(session.library);
  const bool isTied = (command.needs & workingCopy) != 0;
  if (isTied && !provider.tie(settings.directory)) return command.failure;
  const auto configuration = configure(settings, command.needs);
  if (!configuration.has_value()) return command.failure;
  session.configuration = *configuration;
  provider.configure(*configuration);
  Run run = {line, session, provider, input, *paths};
  return command.run(run);
}

}  // namespace

int main(int argc, char** argv) {
  int failure = exitFailure;
  try {
    LineReader input(takeStandardInput());
    const CommandLine line = readCommandLine(argc, argv, helpOfCommands());
    const Command& command = commandNamed(line.command);
    failure = command.failure;
    const int status = runCommand(line, command, input);
    if (std::cout.flush()) return status;
    complain("cannot write the standard output");
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return failure;
}
