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

// Where the child starts, and its standard output.
class FileActions {
 public:
  FileActions(const std::string& directory, int output) {
    demand(posix_spawn_file_actions_init(&actions_) == 0 &&
               posix_spawn_file_actions_addchdir_np(&actions_, directory.c_str()) == 0 &&
               posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO) == 0,
           "what a child is to do before it starts could not be prepared");
  }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

pid_t spawn(const Arguments& arguments, const std::string& directory, int output) {
  std::vector<char*> pointers;
  for (const auto& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  const FileActions actions(directory, output);
  pid_t child = -1;
  demand(posix_spawn(&child, pointers[0], actions.get(), nullptr, pointers.data(), environ) == 0,
         arguments.front() + " could not be started");
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

std::string shellCommand(const Arguments& arguments) {
  std::string command;
  for (const auto& argument : arguments) command += '\'' + argument + "' ";
  return command;
}

struct Free {
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
  FILE* stream = popen(shellCommand(arguments).c_str(), "r");
  demand(stream != nullptr, arguments.front() + " could not be started");
  std::vector<std::string> lines;
  char* line = nullptr;
  std::size_t capacity = 0;
  for (ssize_t length; (length = getline(&line, &capacity, stream)) != -1;) {
    if (line[length - 1] == '\n') --length;
    lines.emplace_back(line, static_cast<std::size_t>(length));
  }
  const std::unique_ptr<char, Free> owner(line);
  demand(pclose(stream) == 0, arguments.front() + " failed");
  return lines;
}
