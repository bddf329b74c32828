#pragma once

#include <optional>
#include <string>
#include <vector>

// The words of a script's line.
struct Word {
  std::string text;
  bool quoted;  // in part at least
};
using Words = std::vector<Word>;

// Splits a line as a shell would: words between blanks, '...' as it stands, "..." and bare words
// with backslash escapes (\n, \r and \t are the control characters), and a comment from a # that
// begins a word. None when a quote or an escape is not finished.
std::optional<Words> splitWords(const std::string& line);

// A word for a text, in double quotes, on one line and unmistakable whatever it holds. Null for a
// null pointer.
std::string quoteWord(const char* text);
