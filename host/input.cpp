#include "input.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

bool readLine(std::FILE* file, std::string& line) {
  char* text = nullptr;
  std::size_t size = 0;
  const ssize_t length = file == nullptr ? -1 : getline(&text, &size, file);
  line.assign(text, length < 0 ? 0 : static_cast<std::size_t>(length));
  std::free(text);
  if (!line.empty() && line.back() == '\n') line.pop_back();
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return length >= 0;
}

FilePointer takeStandardInput() {
  const int taken = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int nothing = open("/dev/null", O_RDONLY);
  if (nothing != STDIN_FILENO) {
    dup2(nothing, STDIN_FILENO);
    close(nothing);
  }
  return FilePointer(taken == -1 ? nullptr : fdopen(taken, "r"));
}
