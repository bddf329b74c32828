#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "settings.h"

struct Job;

// How a command is written, and what it does.
struct Command {
  const char* name;
  const char* arguments;
  std::size_t fewest, most;  // arguments
  const char* description;
  int needs;  // beyond a provider
  int (*run)(Job& job);
  int failure = 1;  // the exit status when it cannot run
};

// What the user has asked for.
struct CommandLine {
  const Command* command = nullptr;
  std::vector<std::string> arguments;
  Settings settings;

  std::string message;
  std::string revision = "HEAD";
  std::string output;
  unsigned long jobs = 0;  // 0: the default
  bool changed = false;
  bool untracked = false;
  bool clean = false;
  bool revert = false;
  bool directories = false;
  bool force = false;
};

// Reads the command line. Ends the program after showing the help or the version, and after bad
// usage, which it reports.
CommandLine readCommandLine(int count, char** words, const std::vector<Command>& commands);
