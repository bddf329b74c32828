#include "report.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

void complain(const std::string& sentence) {
  passOn("scchost: " + sentence);
}

void passOn(const std::string& words) {
  std::cout.flush();  // keeps the two streams in order
  std::cerr << (isatty(STDERR_FILENO) == 1 ? printable(words) : words) << '\n';
}

void Troubles::add(const std::string& path, const std::string& words) {
  if (words.empty()) return;
  if (troubles_.empty() || troubles_.back().words != words) troubles_.push_back({path, words, 0});
  ++troubles_.back().files;
}

int Troubles::report() const {
  for (const auto& [path, words, files] : troubles_) {
    const std::string more = files > 1 ? " and " + std::to_string(files - 1) + " more" : "";
    complain(path + more + ": " + words);
  }
  return troubles_.empty() ? exitSuccess : exitFailure;
}

void say(const std::string& line) {
  std::cout << (isatty(STDOUT_FILENO) == 1 ? printable(line) : line) << '\n';
}

std::string printable(std::string text) {
  const auto isControl = [](unsigned char c) {
    return (c < ' ' && c != '\n' && c != '\t') || c == 0x7f;
  };
  std::replace_if(text.begin(), text.end(), isControl, '?');
  return text;
}

bool isCapableTerminal(int descriptor) {
  const char* terminal = std::getenv("TERM");
  return isatty(descriptor) == 1 && terminal != nullptr && std::string(terminal) != "dumb";
}

bool isColourTerminal(int descriptor) {
  const char* noColour = std::getenv("NO_COLOR");
  return isCapableTerminal(descriptor) && (noColour == nullptr || *noColour == '\0');
}
