// Tries everything that reads what others have written on inputs that a fuzzer makes up: the first
// byte chooses what is tried, the second how the rest arrives. Each must agree with a plainer way
// to say the same. "seeds" holds what a real client has written.
#include <cstdlib>
#include <iostream>
#include <sstream>

// Whole, for the functions that they keep to themselves.
#include "../src/cvsRepository.cpp"
#include "../src/cvsStatus.cpp"
#include "../src/spawnProcess.cpp"
#include "words.h"
#include "workingCopy.h"

namespace {

using Lines = std::vector<std::string>;

void demand(bool condition, const char* otherwise) {
  if (condition) return;
  std::cerr << otherwise << '\n';
  std::abort();
}

// A text as it comes from a child, in reads of one size, cut by the runner.
class Cut {
 public:
  Cut(const std::string& text, std::size_t readSize) {
    BufferList chunks;
    for (std::size_t i = 0; i < text.size(); i += readSize) {
      const std::size_t size = std::min(readSize, text.size() - i);
      std::unique_ptr<char[]> bytes(new char[size]);
      text.copy(bytes.get(), size, i);
      chunks.emplace_back(static_cast<std::uint32_t>(size), std::move(bytes));
    }
    buffer_ = bufferListToStringList(chunks, lines_);
  }
  const std::list<const char*>& lines() const { return lines_; }

 private:
  std::list<const char*> lines_;
  std::unique_ptr<char[]> buffer_;
};

// The lines of a text, each a copy.
Lines copyLines(const std::string& text) {
  Lines lines;
  std::string line;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool ends = text[i] == '\n' || text[i] == '\r';
    if (!ends) line += text[i];
    if (text[i] == '\r' && text[i + 1] == '\n') ++i;
    if (!ends && i + 1 < text.size()) continue;
    lines.emplace_back(line.c_str());
    line.clear();
  }
  return lines;
}

void tryLines(const std::string& text, std::size_t readSize) {
  const Cut cut(text, readSize);
  demand(Lines(cut.lines().begin(), cut.lines().end()) == copyLines(text), "cut elsewhere");
}

bool operator==(const CVSFileStatus& a, const CVSFileStatus& b) {
  return a.modified == b.modified && a.outOfDate == b.outOfDate && a.edited == b.edited &&
         a.statusText == b.statusText && a.workingRevision == b.workingRevision &&
         a.repositoryRevision == b.repositoryRevision;
}

void tryStatus(const std::string& text, std::size_t readSize) {
  FileStatusMap whole, inReads;
  CVSInterface().parseStatusOutput(&whole, copyLines(text));
  const Cut cut(text, readSize);
  parseStatusLines(inReads, cut.lines().begin(), cut.lines().size());
  demand(std::equal(whole.begin(), whole.end(), inReads.begin(), inReads.end(),
                    [](const auto& a, const auto& b) {
                      return a.first == b.first && a.second == b.second;
                    }),
         "another status by other reads");
  for (const auto& [name, record] : whole) {
    const StatusKind* kind = findStatusKind(record.statusText);
    demand(kind != nullptr && record.statusText == kind->text && !record.edited, "no such status");
    demand(record.modified == kind->modified && record.outOfDate == kind->outOfDate, "flags");
  }
}

void tryEditors(const std::string& text) {
  const Lines lines = copyLines(text);
  FileStatusMap marked, wanted;
  for (const auto& line : lines) {
    Lines fields;
    splitString(line.c_str(), "\t", fields);
    if (fields.empty()) continue;
    marked[fields[0]];
    wanted[fields[0]].edited |= fields.size() >= 5;
  }
  CVSInterface().parseEditorsOutput("/", &marked, lines);
  demand(marked.size() == wanted.size(), "a record more");
  for (const auto& [name, record] : wanted) {
    demand(marked[name].edited == record.edited, "marked otherwise");
  }
}

void tryListing(const std::string& text) {
  const Lines lines = copyLines(text);
  for (const std::size_t index : {0u, 1u}) {
    Lines wanted;
    for (const auto& line : lines) {
      Lines pieces;
      splitString(line.c_str(), "/", pieces);
      const bool isKind = line.rfind(index == 1 ? 'D' : '/', 0) == 0;
      if (isKind && index < pieces.size()) wanted.push_back(pieces[index]);
    }
    demand(readListing(lines, index == 1) == wanted, "other names");
  }
}

void tryEntries(const std::string& text) {
  const std::size_t half = text.size() / 2;
  std::istringstream main(text.substr(0, half)), log(text.substr(half));
  const Entries entries = parseEntries(main, log);
  std::string written;
  for (const auto& [name, entry] : entries) {
    demand(!name.empty() && name.find('/') == name.npos, "no name");
    written += (entry.directory ? "D/" : "/") + name + '/' + entry.revision + '/' +
               entry.timestamp + '/' + entry.options + "/\n";
  }
  std::istringstream again(written), nothing;
  const Entries read = parseEntries(again, nothing);
  demand(read.size() == entries.size(), "other entries when written");
  for (const auto& [name, entry] : read) {
    const Entry& before = entries.at(name);
    demand(entry.directory == before.directory && entry.revision == before.revision &&
               entry.timestamp == before.timestamp && entry.options == before.options,
           "another entry when written");
  }
}

void tryWords(const std::string& text) {
  const std::string quoted = quoteWord(text.c_str());
  const auto back = splitWords(quoted);
  demand(back.has_value() && back->size() == 1 && back->front().quoted, "not one word");
  demand(back->front().text == text.c_str(), "another word");

  std::string line;
  const auto words = splitWords(text);
  if (!words.has_value()) return;
  for (const auto& word : *words) {
    if (word.text.find('\0') != word.text.npos) return;
    line += quoteWord(word.text.c_str()) + ' ';
  }
  const auto again = splitWords(line);
  demand(again.has_value() &&
             std::equal(words->begin(), words->end(), again->begin(), again->end(),
                        [](const Word& a, const Word& b) { return a.text == b.text; }),
         "other words");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t readSize = 1 + data[1];
  const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
  switch (data[0]) {
    case 'L':
      tryLines(text, readSize);
      break;
    case 'S':
      tryStatus(text, readSize);
      break;
    case 'e':
      tryEditors(text);
      break;
    case 'R':
      tryListing(text);
      break;
    case 'E':
      tryEntries(text);
      break;
    case 'W':
      tryWords(text);
      break;
    default:
      break;
  }
  return 0;
}
