#pragma once

#include <cstddef>
#include <string>
#include <vector>

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

// What the user has asked for; mostly an empty text where the user has said nothing.
struct CommandLine {
  const Command* command = nullptr;
  std::vector<std::string> arguments;
  std::string directory = ".";  // the working copy
  std::string client, root, library;
  std::string message, output, revision = "HEAD";
  unsigned long jobs = 0;  // 0: the default
  bool edit = false, changed = false, untracked = false, clean = false, revert = false;
  bool directories = false, force = false;
};

// Reads the command line. Help, the version and bad usage, which it reports, end the program.
CommandLine readCommandLine(int count, char** words, const std::vector<Command>& commands);
