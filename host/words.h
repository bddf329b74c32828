#pragma once

#include <optional>
#include <string>
#include <vector>

// The words of a script's line.
struct Word {
  std::string text;
  bool quoted;  // at least in part
};
using Words = std::vector<Word>;

// Splits a line as a shell would: words between blanks, '...' as it stands, "..." and bare words
// with backslash escapes (\n, \r and \t are the control characters), and a comment from a # that
// begins a word. None when a quote or an escape is not finished.
std::optional<Words> splitWords(const std::string& line);

// Writes a text as one word: in double quotes, with escapes, on one line. Null gives a bare null.
std::string quoteWord(const char* text);
