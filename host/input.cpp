#include "input.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

LineReader::~LineReader() {
  if (file_ != nullptr) std::fclose(file_);
}

std::optional<std::string> LineReader::readLine() {
  if (file_ == nullptr) return std::nullopt;
  char* text = nullptr;
  std::size_t size = 0;
  const ssize_t length = getline(&text, &size, file_);
  std::optional<std::string> line;
  if (length >= 0) {
    line.emplace(text, static_cast<std::size_t>(length));
    if (!line->empty() && line->back() == '\n') line->pop_back();
    if (!line->empty() && line->back() == '\r') line->pop_back();
  }
  std::free(text);
  return line;
}

std::FILE* takeStandardInput() {
  const int taken = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int nothing = open("/dev/null", O_RDONLY);
  if (nothing != STDIN_FILENO) {
    dup2(nothing, STDIN_FILENO);
    close(nothing);
  }
  return taken == -1 ? nullptr : fdopen(taken, "r");
}
