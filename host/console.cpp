#include "console.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iostream>

#include "words.h"

void say(const std::string& line) {
  std::cout << line << '\n';
}

void complain(const std::string& sentence) {
  passOn("scchost: " + sentence);
}

int fail(const std::string& sentence) {
  complain(sentence);
  return exitFailure;
}

void passOn(const std::string& words) {
  std::cout.flush();  // keeps the two streams in order
  std::cerr << (isatty(STDERR_FILENO) == 1 ? printable(words, "\n\t") : words) << '\n';
}

std::string printable(std::string text, const std::string& except) {
  const auto isBad = [&](unsigned char c) {
    return std::iscntrl(c) != 0 && except.find(static_cast<char>(c)) == except.npos;
  };
  std::replace_if(text.begin(), text.end(), isBad, '?');
  return text;
}

std::string shown(const std::string& name) {
  if (isatty(STDOUT_FILENO) == 1) return printable(name);
  const bool isPlain = printable(name) == name && name[0] != '"' && name[0] != '\'';
  return isPlain ? name : quoteWord(name.c_str());
}

void Complaints::add(const std::string& path, const std::string& reason, bool byItself) {
  if (reason.empty()) return;
  const bool isSame = !complaints_.empty() && complaints_.back().reason == reason;
  if (byItself || !isSame) complaints_.push_back({path, reason, 0});
  ++complaints_.back().files;
}

int Complaints::report() const {
  for (const auto& [path, reason, files] : complaints_) {
    const std::string more = files > 1 ? " and " + std::to_string(files - 1) + " more" : "";
    complain(shown(path) + more + ": " + reason);
  }
  return complaints_.empty() ? exitSuccess : exitFailure;
}

bool isCapableTerminal(int descriptor) {
  return isatty(descriptor) == 1 && fromEnvironment("TERM", "dumb") != "dumb";
}

bool isColourTerminal(int descriptor) {
  return isCapableTerminal(descriptor) && fromEnvironment("NO_COLOR").empty();
}

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
  close(STDIN_FILENO);
  // Closed streams are taken, too: no file may become the standard output.
  int nothing = STDIN_FILENO;
  while (nothing >= STDIN_FILENO && nothing <= STDERR_FILENO) nothing = open("/dev/null", O_RDONLY);
  close(nothing);
  return FilePointer(taken == -1 ? nullptr : fdopen(taken, "r"));
}
