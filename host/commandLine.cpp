#include "commandLine.h"

#include <argp.h>

#include <algorithm>
#include <cstdlib>
#include <variant>

#include "console.h"

namespace {

using Text = std::string CommandLine::*;
using Switch = bool CommandLine::*;
using Line = CommandLine;

constexpr int firstKey = 256;  // above every letter

// One option means one thing in the whole program.
struct Option {
  char letter;  // 0 for none
  const char* name;
  const char* value;     // what its value is called; null for a switch
  const char* commands;  // those that take it, with blanks between them; null: all
  const char* description;
  std::variant<std::monostate, Text, Switch> target;  // none for a number
};

constexpr Option options[] = {
    {'C', "directory", "DIR", nullptr, "The working copy; else the current directory",
     &Line::directory},
    {0, "client", "EXE", nullptr,
     "The client to run; else the one in CVS_GNU_CLIENT, else cvs, and for login, unedit and run "
     "by way of the adapter cvs-gnu",
     &Line::client},
    {0, "root", "ROOT", nullptr, "The repository; else what the working copy says, else CVSROOT",
     &Line::root},
    {0, "edit", nullptr, nullptr, "Track announced edits", &Line::edit},
    {0, "library", "FILE", nullptr,
     "The provider; else the one beside this program, else the installed one", &Line::library},
    {'j',
     "jobs",
     "N",
     "status commit diff",
     "How many clients may run at a time; else one a processor, from 4 to 8",
     {}},
    {0, "changed", nullptr, "status", "Leave out what is up to date and not edited",
     &Line::changed},
    {0, "untracked", nullptr, "status", "Also list what is not under version control, as ?",
     &Line::untracked},
    {'m', "message", "TEXT", "add commit", "The log message; else \"no comment\"", &Line::message},
    {0, "clean", nullptr, "update edit", "Discard local changes", &Line::clean},
    {0, "revert", nullptr, "unedit", "Discard changes: replace files by the repository's",
     &Line::revert},
    {'r', "revision", "REVISION", "cat", "Revision or tag; else HEAD", &Line::revision},
    {'o', "output", "FILE", "cat", "The file to write, seen from here; else the standard output",
     &Line::output},
    {0, "force", nullptr, "add cat", "Take a binary file, although it is handled as text",
     &Line::force},
    {'d', "directories", nullptr, "ls", "List the directories instead of the files",
     &Line::directories},
};

int keyOf(const Option& option) {
  return option.letter != 0 ? option.letter : firstKey + static_cast<int>(&option - options);
}

bool takes(const std::string& command, const Option& option) {
  const std::string commands = option.commands == nullptr ? command : option.commands;
  return (' ' + commands + ' ').find(' ' + command + ' ') != std::string::npos;
}

// State of the parser.
struct Reading {
  const std::vector<Command>& commands;
  CommandLine line;
  std::string name;  // of the command
  std::vector<const Option*> taken;
};

constexpr unsigned long mostJobs = 1000;

void store(const Option& option, const char* value, CommandLine& line) {
  if (const auto* on = std::get_if<Switch>(&option.target)) {
    line.** on = true;
  } else if (const auto* text = std::get_if<Text>(&option.target)) {
    line.** text = value;
  } else {
    // Anything but a number becomes one that is refused.
    const bool isNumber = std::string(value).find_first_not_of("0123456789") == std::string::npos;
    line.jobs = isNumber ? std::strtoul(value, nullptr, 10) : 0;
    if (line.jobs == 0) line.jobs = mostJobs + 1;
  }
}

// Finds the command and checks what was given to it. Reports bad usage and ends the program.
void checkUsage(Reading& reading, const argp_state* state) {
  CommandLine& line = reading.line;
  const auto command =
      std::find_if(reading.commands.begin(), reading.commands.end(),
                   [&](const Command& known) { return reading.name == known.name; });
  if (command == reading.commands.end()) {
    argp_error(state, "there is no command %s", shown(reading.name).c_str());
    return;
  }
  line.command = &*command;
  if (line.message.empty()) line.message = "no comment";
  line.clean = line.clean || reading.name == "revert";
  for (const auto* option : reading.taken) {
    if (!takes(reading.name, *option)) {
      argp_error(state, "%s has no option --%s", command->name, option->name);
    }
  }
  if (line.jobs > mostJobs) argp_error(state, "--jobs needs a number from 1 to %lu", mostJobs);
  const std::size_t count = line.arguments.size();
  if (count < command->fewest || count > command->most) {
    argp_error(state, "usage: %s %s", command->name, command->arguments);
  }
  if (std::count(line.arguments.begin(), line.arguments.end(), "") > 0) {
    argp_error(state, "an argument of %s is empty", command->name);
  }
}

error_t readWord(int key, char* value, argp_state* state) {
  Reading& reading = *static_cast<Reading*>(state->input);
  const auto* const option = std::find_if(std::begin(options), std::end(options),
                                          [key](const Option& o) { return keyOf(o) == key; });
  if (option != std::end(options)) {
    // Probably a shell variable that was empty by mistake.
    if (value != nullptr && *value == '\0' && option->letter != 'm') {
      argp_error(state, "the value of --%s is empty", option->name);
    }
    store(*option, value, reading.line);
    reading.taken.push_back(option);
  } else if (key == ARGP_KEY_ARG && state->arg_num == 0) {
    reading.name = value;
  } else if (key == ARGP_KEY_ARG) {
    reading.line.arguments.emplace_back(value);
  } else if (key == ARGP_KEY_NO_ARGS) {
    argp_error(state, "no command given");
  } else if (key == ARGP_KEY_SUCCESS) {
    checkUsage(reading, state);
  } else {
    return ARGP_ERR_UNKNOWN;
  }
  return 0;
}

std::string describeCommands(const std::vector<Command>& commands) {
  std::string text = "Version control through a source-code-control provider.\n\n";
  for (const auto& command : commands) {
    std::string left = std::string("  ") + command.name + ' ' + command.arguments;
    left.resize(std::max<std::size_t>(left.size() + 1, 27), ' ');
    text += left + command.description + '\n';
  }
  return text +
         "\vPaths are seen from the working copy. Exit status: 0, 1 when an operation failed or "
         "left something to do, 2 for bad usage; of diff, as diff(1).";
}

// The options in the parser's form. What only some commands take begins with their names.
std::vector<argp_option> describeOptions(std::vector<std::string>& texts) {
  std::vector<argp_option> described;
  texts.reserve(std::size(options));
  for (const auto& option : options) {
    const bool isForAll = option.commands == nullptr;
    texts.push_back((isForAll ? "" : option.commands + std::string(": ")) + option.description);
    described.push_back(
        {option.name, keyOf(option), option.value, 0, texts.back().c_str(), isForAll ? 1 : 2});
  }
  described.push_back({});
  return described;
}

}  // namespace

CommandLine readCommandLine(int count, char** words, const std::vector<Command>& commands) {
  argp_program_version = SCCHOST_VERSION;
  argp_err_exit_status = exitUsage;
  std::vector<std::string> texts;
  const std::vector<argp_option> described = describeOptions(texts);
  const std::string help = describeCommands(commands);
  const argp parser = {described.data(), readWord, "COMMAND [ARGUMENT...]", help.c_str(), nullptr,
                       nullptr,          nullptr};
  Reading reading = {commands, {}, {}, {}};
  argp_parse(&parser, count, words, ARGP_IN_ORDER, nullptr, &reading);
  return reading.line;
}
