#include "words.h"

#include <string_view>

namespace {

constexpr std::string_view special = "\n\r\t", letters = "nrt";

}  // namespace

std::optional<Words> splitWords(const std::string& line) {
  Words words;
  bool inWord = false;
  char quote = '\0';
  for (std::size_t i = 0; i < line.size(); ++i) {
    char c = line[i];
    const bool blank = c == ' ' || c == '\t' || c == '\r';
    if (quote == '\0' && blank) {
      inWord = false;
      continue;
    }
    if (quote == '\0' && !inWord) {
      if (c == '#') break;
      words.push_back({"", false});
      inWord = true;
    }
    Word& word = words.back();
    if (quote == '\0' && (c == '\'' || c == '"')) {
      quote = c;
      word.quoted = true;
    } else if (c == quote && quote != '\0') {
      quote = '\0';
    } else if (c == '\\' && quote != '\'') {
      if (++i == line.size()) return std::nullopt;
      const std::size_t letter = letters.find(line[i]);
      word.text += letter == letters.npos ? line[i] : special[letter];
    } else {
      word.text += c;
    }
  }
  if (quote != '\0') return std::nullopt;
  return words;
}

std::string quoteWord(const char* text) {
  if (text == nullptr) return "null";
  std::string shown = "\"";
  for (; *text != '\0'; ++text) {
    const std::size_t found = special.find(*text);
    if (found != special.npos || *text == '"' || *text == '\\') shown += '\\';
    shown += found == special.npos ? *text : letters[found];
  }
  return shown + '"';
}
