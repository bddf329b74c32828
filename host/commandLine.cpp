#include "commandLine.h"

#include <getopt.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "report.h"

namespace {

// One option means one thing in the whole program.
struct Option {
  char letter;  // 0 for none
  const char* name;
  const char* value;     // what its value is called; null for a switch
  const char* commands;  // those that take it, each between blanks; empty for all
  const char* description;
  std::string CommandLine::*text;
  bool CommandLine::*flag;
  std::string Settings::*setting;
};

constexpr Option options[] = {
    {'C', "directory", "DIR", "", "the working copy; else the current directory", nullptr, nullptr,
     &Settings::directory},
    {0, "client", "EXE", "",
     "the client to run; else the one in CVS_GNU_CLIENT, else cvs, and for login, unedit and run "
     "by way of the adapter cvs-gnu",
     nullptr, nullptr, &Settings::client},
    {0, "root", "ROOT", "", "the repository; else what the working copy says, else CVSROOT",
     nullptr, nullptr, &Settings::root},
    {0, "edit", nullptr, "", "track announced edits", nullptr, nullptr, nullptr},
    {0, "library", "FILE", "",
     "the provider; else the one beside this program, else the installed one", nullptr, nullptr,
     &Settings::library},
    {'j', "jobs", "N", " status commit diff unedit ",
     "how many clients may run at a time; else the number of processors, but from 4 to 8", nullptr,
     nullptr, nullptr},
    {0, "changed", nullptr, " status ", "leave out what is up to date and not edited", nullptr,
     &CommandLine::changed, nullptr},
    {0, "untracked", nullptr, " status ", "also list what is not under control, as ?", nullptr,
     &CommandLine::untracked, nullptr},
    {'m', "message", "TEXT", " add commit ", "the log message; else \"no comment\"",
     &CommandLine::message, nullptr, nullptr},
    {0, "clean", nullptr, " update edit ", "local changes give way to what the repository has",
     nullptr, &CommandLine::clean, nullptr},
    {0, "revert", nullptr, " unedit ", "take changes back, to what the repository has", nullptr,
     &CommandLine::revert, nullptr},
    {'r', "revision", "REVISION", " cat ", "revision or tag; else HEAD", &CommandLine::revision,
     nullptr, nullptr},
    {'o', "output", "FILE", " cat ", "the file to write; else the standard output",
     &CommandLine::output, nullptr, nullptr},
    {0, "force", nullptr, " cat ", "fetch a binary file, although it comes as lines of text",
     nullptr, &CommandLine::force, nullptr},
    {'d', "directories", nullptr, " ls ", "list the directories instead of the files", nullptr,
     &CommandLine::directories, nullptr},
    {'u', "user", "NAME", " mkdir ", "vendor tag of the import behind it; else the login name",
     &CommandLine::user, nullptr, nullptr},
    {'h', "help", nullptr, "", "show this help, or with a command what it does", nullptr, nullptr,
     nullptr},
    {0, "version", nullptr, "", "show the version", nullptr, nullptr, nullptr},
};

bool takes(const Option& option, const std::string& command) {
  return *option.commands == '\0' ||
         std::string(option.commands).find(' ' + command + ' ') != std::string::npos;
}

std::string spell(const Option& option) {
  std::string text = option.letter == 0 ? "    --" : std::string{'-', option.letter} + ", --";
  text += option.name;
  return option.value == nullptr ? text : text + ' ' + option.value;
}

// Two columns, the second one wrapped.
void printRow(const std::string& left, const std::string& right) {
  constexpr std::size_t column = 28, width = 96;
  std::cout << "  " << std::left << std::setw(column - 2) << left;
  std::size_t used = column;
  if (left.size() + 2 >= column) {
    std::cout << '\n' << std::string(column, ' ');
  }
  std::istringstream words(right);
  for (std::string word; words >> word;) {
    if (used > column && used + 1 + word.size() > width) {
      std::cout << '\n' << std::string(column, ' ');
      used = column;
    }
    if (used > column) std::cout << ' ';
    std::cout << word;
    used += word.size() + 1;
  }
  std::cout << '\n';
}

void printOptions(const char* heading, const std::function<bool(const Option&)>& wanted) {
  std::cout << '\n' << heading << '\n';
  for (const auto& option : options) {
    if (wanted(option)) printRow(spell(option), option.description);
  }
}

void printProgramHelp(const std::vector<CommandHelp>& commands) {
  std::cout << "Version control through a source-code-control provider.\n\n"
               "usage: scchost [OPTION...] COMMAND [OPTION...] [ARGUMENT...]\n\nCommands:\n";
  for (const auto& command : commands) {
    printRow(std::string(command.name) + ' ' + command.arguments, command.description);
  }
  printOptions("Options:", [](const Option& option) { return *option.commands == '\0'; });
  std::cout
      << "\nPaths are seen from the working copy. \"--\" ends the options.\n"
         "Exit status: 0, 1 when an operation failed, 2 for bad usage; of diff, as diff(1).\n";
}

void printCommandHelp(const CommandHelp& command) {
  std::cout << "usage: scchost [OPTION...] " << command.name << " [OPTION...] " << command.arguments
            << "\n\n";
  std::string text = command.description;
  std::cout << text << ".\n";
  const auto isOwn = [&](const Option& option) {
    return *option.commands != '\0' && takes(option, command.name);
  };
  if (std::any_of(std::begin(options), std::end(options), isOwn)) printOptions("Options:", isOwn);
}

int reportUsage(const std::string& sentence) {
  complain(sentence + "; see scchost --help");
  return exitUsage;
}

// Feeds getopt_long(3), which knows an option by its index here.
class Parser {
 public:
  explicit Parser(CommandLine& line) : line_(line) {
    for (const auto& option : options) {
      const int argument = option.value == nullptr ? no_argument : required_argument;
      long_.push_back(
          {option.name, argument, nullptr, firstIndex + static_cast<int>(long_.size())});
      if (option.letter == 0) continue;
      letters_ += option.letter;
      if (option.value != nullptr) letters_ += ':';
    }
    long_.push_back({});
    opterr = 0;
  }

  // Reads the options behind the first word, as far as the next other word or mixed with others;
  // false after a mistake, which has been reported. `words` then holds the others last, and `rest`
  // receives where they begin.
  bool readOptions(int count, char** words, bool asFarAsNextWord, int& rest) {
    const std::string form = std::string(asFarAsNextWord ? "+:" : ":") + letters_;
    optind = 0;  // begin anew
    int found = 0;
    while ((found = getopt_long(count, words, form.c_str(), long_.data(), nullptr)) != -1) {
      if (found == '?' || found == ':') return reportMistake(found, words[optind - 1]);
      const auto* option = std::find_if(std::begin(options), std::end(options), [&](const auto& o) {
        return found == o.letter || found == firstIndex + (&o - options);
      });
      if (!take(*option)) return false;
    }
    rest = optind;
    return true;
  }

  bool wantsHelp() const { return wantsHelp_; }
  bool wantsVersion() const { return wantsVersion_; }
  const std::vector<const Option*>& taken() const { return taken_; }

 private:
  static constexpr int firstIndex = 256;  // above every letter

  bool reportMistake(int kind, const char* word) {
    const bool isLetter = optopt > 0 && optopt < firstIndex;
    const bool isKnown = optopt >= firstIndex && kind == ':';
    const std::string name = isLetter  ? std::string("-") + static_cast<char>(optopt)
                             : isKnown ? std::string("--") + options[optopt - firstIndex].name
                                       : word;
    reportUsage(name + (kind == ':' ? " needs a value" : " is no option, or not in this form"));
    return false;
  }

  bool take(const Option& option) {
    const std::string name = option.name;
    const std::string value = option.value == nullptr ? "" : optarg;
    taken_.push_back(&option);
    if (option.value != nullptr && value.empty() && name != "message") {
      reportUsage("the value of --" + name + " is empty");
      return false;
    }
    if (option.text != nullptr) line_.*option.text = value;
    if (option.flag != nullptr) line_.*option.flag = true;
    if (option.setting != nullptr) line_.settings.*option.setting = value;
    if (name == "edit") line_.settings.edit = true;
    if (name == "help") wantsHelp_ = true;
    if (name == "version") wantsVersion_ = true;
    return name != "jobs" || takeJobs(value);
  }

  bool takeJobs(const std::string& value) {
    constexpr unsigned most = 1000;
    char* end = nullptr;
    const unsigned long number = std::strtoul(value.c_str(), &end, 10);
    const bool isNumber = value.find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber || number < 1 || number > most) {
      reportUsage("--jobs needs a number from 1 to " + std::to_string(most));
      return false;
    }
    line_.jobs = static_cast<unsigned>(number);
    return true;
  }

  CommandLine& line_;
  std::vector<::option> long_;
  std::string letters_;
  std::vector<const Option*> taken_;
  bool wantsHelp_ = false;
  bool wantsVersion_ = false;
};

int checkArguments(const CommandLine& line, const CommandHelp& command) {
  const std::size_t count = line.arguments.size();
  if (count < command.fewest || count > command.most) {
    return reportUsage(std::string("usage: ") + command.name + ' ' + command.arguments);
  }
  const bool isEmpty = std::count(line.arguments.begin(), line.arguments.end(), "") > 0;
  return isEmpty ? reportUsage("an argument of " + line.command + " is empty") : exitSuccess;
}

}  // namespace

bool readCommandLine(int count, char** words, const std::vector<CommandHelp>& commands,
                     CommandLine& line, int& status) {
  status = exitUsage;
  Parser parser(line);
  int at = 0;
  if (!parser.readOptions(count, words, true, at)) return false;
  if (parser.wantsVersion()) {
    std::cout << SCCHOST_VERSION << '\n';
    status = exitSuccess;
    return false;
  }
  if (at == count) {
    if (parser.wantsHelp()) {
      printProgramHelp(commands);
      status = exitSuccess;
    } else {
      reportUsage("which command?");
    }
    return false;
  }
  line.command = words[at];
  const auto command = std::find_if(commands.begin(), commands.end(),
                                    [&](const auto& c) { return line.command == c.name; });
  if (command == commands.end()) {
    reportUsage("there is no command " + line.command);
    return false;
  }
  int rest = 0;
  if (!parser.readOptions(count - at, words + at, false, rest)) return false;
  for (const auto* option : parser.taken()) {
    if (takes(*option, line.command)) continue;
    reportUsage(line.command + " has no option --" + option->name);
    return false;
  }
  if (parser.wantsHelp()) {
    printCommandHelp(*command);
    status = exitSuccess;
    return false;
  }
  line.arguments.assign(words + at + rest, words + count);
  status = checkArguments(line, *command);
  return status == exitSuccess;
}
