// The command-line host: drives a source-code-control provider as a development environment would.

#include <pwd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <optional>
#include <string>

#include "commands.h"
#include "provider.h"
#include "workingCopy.h"

namespace {

using Operation = std::function<int(const Provider&)>;

// What the command line holds; a subcommand reads what it has declared.
struct CommandLine {
  Settings settings;
  Paths paths;  // in the working copy
  std::string path;
  std::string remote;
  std::optional<std::string> comment;
  std::string revision = "HEAD";
  std::string output;
  std::string user;
  bool flag = false;
  bool inWorkingCopy = false;
  Operation run;

  const char* commentText() const { return comment.has_value() ? comment->c_str() : nullptr; }
};

std::string loginName() {
  const passwd* account = getpwuid(geteuid());
  return account == nullptr ? "" : account->pw_name;
}

// An empty path is a variable that was empty by mistake, and would stand for much.
CLI::Validator notEmpty() {
  return CLI::Validator(
      [](const std::string& text) { return text.empty() ? "it is empty" : std::string(); }, "");
}

CLI::App* addCommand(CLI::App& app, CommandLine& line, const std::string& name,
                     const std::string& description, const Operation& run) {
  CLI::App* command = app.add_subcommand(name, description);
  command->callback([&line, run] { line.run = run; });
  return command;
}

// A subcommand that takes paths in the working copy, to which the provider is tied for it.
CLI::App* addFileCommand(CLI::App& app, CommandLine& line, const std::string& name,
                         const std::string& description, bool needsPath, const Operation& run) {
  CLI::App* command = addCommand(app, line, name, description, run);
  command
      ->add_option(
          "PATH", line.paths,
          needsPath ? "Files in the working copy" : "Files or directories; without any, all")
      ->required(needsPath);
  command->preparse_callback([&line](std::size_t) { line.inWorkingCopy = true; });
  return command;
}

void addMessage(CLI::App* command, CommandLine& line) {
  command->add_option("-m,--message", line.comment,
                      "What to record as the log message; else \"no comment\"");
}

void defineFileCommands(CLI::App& app, CommandLine& line) {
  addFileCommand(app, line, "status",
                 "Show the state of the files that the working copy has a record of", false,
                 [&line](const Provider& provider) {
                   return showStatus(provider, line.settings.directory, line.paths);
                 });

  addMessage(
      addFileCommand(app, line, "add",
                     "Put files, and new directories above them, under control and commit", true,
                     [&line](const Provider& provider) {
                       return addFiles(provider, line.paths, line.commentText());
                     }),
      line);

  addMessage(addFileCommand(app, line, "commit", "Commit files, several as one command", true,
                            [&line](const Provider& provider) {
                              return commitFiles(provider, line.paths, line.commentText());
                            }),
             line);

  addFileCommand(
      app, line, "update", "Bring files up to date, several as one command", false,
      [&line](const Provider& provider) { return updateFiles(provider, line.paths, line.flag); })
      ->add_flag("-C,--clean", line.flag, "Replace local changes by what the repository has");

  CLI::App* cat = addFileCommand(
      app, line, "cat", "Write one revision of a file", true, [&line](const Provider& provider) {
        return printRevision(provider, line.paths.front(), line.revision, line.output);
      });
  cat->get_option("PATH")->expected(1)->description("The file");
  cat->add_option("-r,--revision", line.revision, "Revision or tag")->capture_default_str();
  cat->add_option("-o,--output", line.output, "File to write instead of the standard output");

  addFileCommand(
      app, line, "edit", "Announce that files are being edited", true,
      [&line](const Provider& provider) { return editFiles(provider, line.paths, line.flag); })
      ->add_flag("--clean", line.flag, "First replace local changes by what the repository has");

  addFileCommand(app, line, "unedit", "Withdraw that announcement, of files that are not modified",
                 true,
                 [&line](const Provider& provider) {
                   return uneditFiles(provider, line.settings.directory, line.paths, line.flag);
                 })
      ->add_flag("--revert", line.flag, "Take changes back, to what the repository has");
}

void defineRepositoryCommands(CLI::App& app, CommandLine& line) {
  CLI::App* ls = addCommand(
      app, line, "ls", "List the files of a repository directory",
      [&line](const Provider& provider) { return listRepository(provider, line.path, line.flag); });
  ls->add_option("PATH", line.path, "The directory; without it, the top of the repository");
  ls->add_flag("-d,--directories", line.flag, "List the directories instead");

  CLI::App* mkdir = addCommand(
      app, line, "mkdir", "Create a repository directory",
      [&line](const Provider& provider) { return makeDirectory(provider, line.path, line.user); });
  mkdir->add_option("PATH", line.path, "The directory")->required()->check(notEmpty());
  line.user = loginName();
  mkdir->add_option("-u,--user", line.user, "Vendor tag of the import behind it")
      ->capture_default_str();

  CLI::App* checkout =
      addCommand(app, line, "checkout",
                 "Make a directory a working copy of the top level of a repository directory",
                 [&line](const Provider& provider) {
                   const auto local = std::filesystem::path(line.settings.directory) / line.path;
                   return checkOut(provider, local.string(), line.remote);
                 });
  checkout->add_option("LOCAL", line.path, "The directory to make")->required()->check(notEmpty());
  checkout->add_option("REMOTE", line.remote, "The repository directory")
      ->required()
      ->check(notEmpty());

  CLI::App* login = addCommand(
      app, line, "login",
      "Log in; the password is asked for on a terminal and read from the standard input elsewhere",
      [&line](const Provider& provider) { return logIn(provider, line.user); });
  login
      ->add_option("USER", line.user,
                   "A name for the provider to record; who logs in is part of ROOT")
      ->capture_default_str();

  addCommand(app, line, "logout", "Log out", logOut);
  for (const char* name : {"login", "logout"}) {
    app.get_subcommand(name)->preparse_callback(
        [&line](std::size_t) { line.settings.login = true; });
  }

  addCommand(app, line, "run",
             "Run a script of operations by the interface's names, each with its result",
             [&line](const Provider& provider) { return runScript(provider, line.path); })
      ->add_option("SCRIPT", line.path, "One operation a line; without it, the standard input");
}

void defineOptions(CLI::App& app, CommandLine& line) {
  app.add_option("-C", line.settings.directory, "The working copy")
      ->type_name("DIR")
      ->capture_default_str();
  app.add_option("--client", line.settings.client,
                 "The client to run; else cvs, by the cvs-gnu adapter beside this program or\n"
                 "installed, which gives the stock client the options it lacks")
      ->type_name("EXE");
  app.add_option("--root", line.settings.root,
                 "The repository; else what the working copy says, else CVSROOT")
      ->type_name("ROOT");
  app.add_flag("--edit", line.settings.edit, "Track announced edits");
  app.add_option("--library", line.settings.library,
                 "The provider; else the one beside this program, else the installed one")
      ->type_name("FILE");
  app.set_version_flag("--version", SCCHOST_VERSION);
  app.require_subcommand(1);
  app.footer(
      "Options stand before the subcommand, and the subcommand's own behind it.\n"
      "Without --client, the environment's CVS_GNU_CLIENT names the client that the adapter runs.\n"
      "Exit status: 0, 1 when an operation failed, 2 for bad usage.");
}

// Brings the paths into the form the provider takes, each once; false, reported, for a bad one.
bool resolvePaths(CommandLine& line) {
  if (line.inWorkingCopy && line.paths.empty()) line.paths.push_back(".");
  Paths resolved;
  for (const auto& path : line.paths) {
    const auto relative = relativePath(line.settings.directory, path);
    if (!relative.has_value()) {
      complain(path.empty() ? "a path is empty"
                            : path + " lies outside the working copy " + line.settings.directory +
                                  "; name another one with -C");
      return false;
    }
    const bool repeated = std::find(resolved.begin(), resolved.end(), *relative) != resolved.end();
    if (!repeated) resolved.push_back(*relative);
  }
  line.paths = resolved;
  return true;
}

int runCommand(CommandLine& line) {
  if (!resolvePaths(line)) return exitUsage;
  const auto provider = Provider::load(line.settings.library);
  if (provider == nullptr) return exitFailure;
  if (line.inWorkingCopy && !provider->tie(line.settings.directory)) return exitFailure;
  if (!provider->configure(line.settings)) return exitFailure;
  return line.run(*provider);
}

}  // namespace

int main(int argc, char** argv) try {
  CommandLine line;
  CLI::App app("Version control from the command line, through a source-code-control provider.",
               "scchost");
  defineOptions(app, line);
  defineFileCommands(app, line);
  defineRepositoryCommands(app, line);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == exitSuccess) return app.exit(error);
    complain(argc > 1 && app.get_subcommands().empty() && argv[1][0] != '-'
                 ? std::string("there is no subcommand ") + argv[1] + "; see scchost --help"
                 : std::string(error.what()) + "; see scchost --help");
    return exitUsage;
  }
  const int status = runCommand(line);
  if (std::cout.flush()) return status;
  complain("cannot write the standard output");
  return exitFailure;
} catch (const std::exception& error) {
  complain(error.what());
  return exitFailure;
}
