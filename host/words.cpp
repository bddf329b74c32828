#include "words.h"

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
      c = line[i];
      word.text += c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c;
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
    switch (*text) {
      case '\n':
        shown += "\\n";
        break;
      case '\r':
        shown += "\\r";
        break;
      case '\t':
        shown += "\\t";
        break;
      case '"':
        shown += "\\\"";
        break;
      case '\\':
        shown += "\\\\";
        break;
      default:
        shown += *text;
    }
  }
  return shown + '"';
}
