#pragma once

#include <filesystem>
#include <string>
#include <vector>

// What both sides of a comparison work on, and the system's own means of running a client. All end
// the benchmark, by an exception, when they fail.

void demand(bool condition, const std::string& otherwise);

// Creates a file, and the directories above it.
void writeFile(const std::filesystem::path& file, const std::string& text);

// What "status -l" tells of these files: ten lines each, one in ten modified.
std::string makeStatus(const std::vector<std::string>& names);

// The names of the files in a directory of `count`, sorted, as the client lists them.
std::vector<std::string> fileNames(std::size_t count);

// Files in a working copy: as many in each of its directories "part0", "part1" and so on.
struct Tree {
  const char* name;
  std::size_t directories;
  std::size_t filesInEach;
};

// Makes a repository of these trees with the client cvs, and the working copy "project" of it.
void checkOutTrees(const std::filesystem::path& workspace, const std::string& repository,
                   const std::vector<Tree>& trees);

using Arguments = std::vector<std::string>;

// posix_spawn, read the standard output to the end, wait; the standard error goes nowhere. Returns
// the most memory that the program used, in bytes, if that was more than this process has used.
double runProgram(const Arguments& arguments, const std::filesystem::path& directory);

// popen, getline, pclose. The lines are without terminators.
std::vector<std::string> collectLines(const Arguments& arguments);
