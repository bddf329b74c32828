#include "console.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "words.h"

namespace {

bool isControl(char c) {
  return std::iscntrl(static_cast<unsigned char>(c)) != 0;
}

void replaceControls(std::string& text, const char* except) {
  const auto isBad = [&](char c) { return isControl(c) && std::strchr(except, c) == nullptr; };
  std::replace_if(text.begin(), text.end(), isBad, '?');
}

}  // namespace

void say(const std::string& line) {
  std::cout << line << '\n';
}

void complain(const std::string& sentence) {
  passOn("scchost: " + sentence);
}

void passOn(const std::string& words) {
  std::cout.flush();  // keeps the two streams in order
  std::string text = words;
  if (isatty(STDERR_FILENO) == 1) replaceControls(text, "\n\t");
  std::cerr << text << '\n';
}

std::string printable(std::string text) {
  replaceControls(text, "");
  return text;
}

std::string shown(const std::string& name) {
  if (isatty(STDOUT_FILENO) == 1) return printable(name);
  const bool isPlain = std::none_of(name.begin(), name.end(), isControl);
  return isPlain && name[0] != '"' && name[0] != '\'' ? name : quoteWord(name.c_str());
}

void Complaints::add(const std::string& path, const std::string& reason) {
  if (complaints_.empty() || complaints_.back().reason != reason) {
    addOne(path, reason);
  } else {
    ++complaints_.back().files;
  }
}

void Complaints::addOne(const std::string& path, const std::string& reason) {
  if (!reason.empty()) complaints_.push_back({path, reason, 1});
}

int Complaints::report() const {
  for (const auto& [path, reason, files] : complaints_) {
    const std::string more = files > 1 ? " and " + std::to_string(files - 1) + " more" : "";
    complain(shown(path) + more + ": " + reason);
  }
  return complaints_.empty() ? exitSuccess : exitFailure;
}

bool isCapableTerminal(int descriptor) {
  const char* terminal = std::getenv("TERM");
  return isatty(descriptor) == 1 && terminal != nullptr && std::string(terminal) != "dumb";
}

bool isColourTerminal(int descriptor) {
  const char* noColour = std::getenv("NO_COLOR");
  return isCapableTerminal(descriptor) && (noColour == nullptr || *noColour == '\0');
}
