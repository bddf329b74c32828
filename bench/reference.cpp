#include "reference.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "measure.h"

namespace {

pid_t spawn(const Arguments& arguments, const std::string& directory, int output) {
  std::vector<char*> pointers;
  for (const auto& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  const int error = posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  demand(error == 0, arguments.front() + " could not be started in " + directory);
  return child;
}

std::size_t readToEnd(int descriptor) {
  char buffer[1 << 16];
  std::size_t total = 0;
  ssize_t count = 0;
  while ((count = read(descriptor, buffer, sizeof buffer)) > 0) {
    total += static_cast<std::size_t>(count);
  }
  demand(count == 0, "the output of a child could not be read");
  return total;
}

struct Freer {
  void operator()(char* line) const { std::free(line); }
};

}  // namespace

std::size_t readOutput(const Arguments& arguments, const std::string& directory) {
  int ends[2];
  demand(pipe2(ends, O_CLOEXEC) == 0, "no pipe could be made");
  const pid_t child = spawn(arguments, directory, ends[1]);
  close(ends[1]);
  const std::size_t total = readToEnd(ends[0]);
  close(ends[0]);
  int status = -1;
  demand(waitpid(child, &status, 0) == child && status == 0, arguments.front() + " failed");
  return total;
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
  const std::unique_ptr<char, Freer> owner(line);
  demand(pclose(stream) == 0, arguments.front() + " failed");
  return lines;
}
