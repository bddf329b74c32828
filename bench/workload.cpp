#include "workload.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

void demand(bool condition, const std::string& otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

void writeFile(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream out(file);
  out << text << std::flush;
  demand(out.good(), file.string() + " could not be written");
}

std::string makeStatus(const std::vector<std::string>& names) {
  std::string text;
  std::size_t index = 0;
  for (const auto& name : names) {
    const std::string status = index++ % 10 == 7 ? "Locally Modified" : "Up-to-date";
    std::string padded = name;
    padded.resize(std::max<std::size_t>(name.size(), 17), ' ');
    text += std::string(67, '=') + "\nFile: " + padded + "\tStatus: " + status +
            "\n\n   Working revision:\t1.4\t2003-03-03 10:00:00 +0000\n"
            "   Repository revision:\t1.4\t/repo/project/" +
            name +
            ",v\n   Commit Identifier:\t1006B0350900A1522F2\n   Sticky Tag:\t\t(none)\n"
            "   Sticky Date:\t\t(none)\n   Sticky Options:\t(none)\n\n";
  }
  return text;
}

std::vector<std::string> fileNames(std::size_t count) {
  constexpr const char* stems[] = {"buf",    "cache",         "directoryWalker", "entry",
                                   "filter", "historyReader", "keywordExpansion"};
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) {
    names.push_back(stems[i % std::size(stems)] + std::to_string(100000 + i) +
                    (i % 2 == 0 ? ".h" : ".cpp"));
  }
  std::sort(names.begin(), names.end());
  return names;
}

void checkOutTrees(const fs::path& workspace, const std::string& repository,
                   const std::vector<Tree>& trees) {
  const fs::path sources = workspace / "sources";
  for (const auto& tree : trees) {
    for (std::size_t i = 0; i < tree.directories; ++i) {
      const fs::path directory = sources / tree.name / ("part" + std::to_string(i));
      for (const auto& name : fileNames(tree.filesInEach)) writeFile(directory / name, name + '\n');
    }
  }
  runProgram({"cvs", "-d", repository, "init"}, workspace);
  runProgram({"cvs", "-d", repository, "-Q", "import", "-m", "trees", "project", "bench", "start"},
             sources);
  runProgram({"cvs", "-d", repository, "-Q", "checkout", "project"}, workspace);
  fs::remove_all(sources);
}

double runProgram(const Arguments& arguments, const fs::path& directory) {
  std::vector<char*> pointers;
  for (const auto& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  int ends[2];
  demand(pipe2(ends, O_CLOEXEC) == 0, "no pipe could be made");

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  const int error = posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  demand(error == 0, arguments.front() + " could not be started in " + directory.string());

  char buffer[1 << 16];
  ssize_t count = 1;
  while (count > 0) count = read(ends[0], buffer, sizeof buffer);
  close(ends[0]);
  int status = -1;
  rusage usage = {};
  const bool ended = wait4(child, &status, 0, &usage) == child && count == 0 && status == 0;
  demand(ended, arguments.front() + " failed in " + directory.string());
  return 1024.0 * static_cast<double>(usage.ru_maxrss);
}

std::vector<std::string> collectLines(const Arguments& arguments) {
  std::string command;
  for (const auto& argument : arguments) command += '\'' + argument + "' ";
  FILE* stream = popen(command.c_str(), "r");
  demand(stream != nullptr, arguments.front() + " could not be started");
  std::vector<std::string> lines;
  char* line = nullptr;
  std::size_t capacity = 0;
  for (ssize_t length; (length = getline(&line, &capacity, stream)) != -1;) {
    if (line[length - 1] == '\n') --length;
    lines.emplace_back(line, static_cast<std::size_t>(length));
  }
  std::free(line);
  demand(pclose(stream) == 0, arguments.front() + " failed");
  return lines;
}
