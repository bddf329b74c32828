#include "report.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

void complain(const std::string& sentence) {
  passOn("scchost: " + sentence);
}

void passOn(const std::string& words) {
  std::cout.flush();  // in the order in which things happened
  std::cerr << (isatty(STDERR_FILENO) == 1 ? printable(words) : words) << '\n';
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
