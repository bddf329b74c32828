#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>

#include "commands.h"

namespace {

using Interface = SourceCodeControlSystemProviderInterface;

struct Word {
  std::string text;
  bool quoted;
};
using Words = std::vector<Word>;

// The arguments of one operation, as the interface takes them.
class Arguments {
 public:
  explicit Arguments(Words words) : words_(std::move(words)) {}

  // A bare null is the null pointer.
  const char* text(std::size_t index) const {
    const Word& word = words_[index];
    return !word.quoted && word.text == "null" ? nullptr : word.text.c_str();
  }
  bool flag(std::size_t index) const { return words_[index].text == "true"; }

 private:
  Words words_;
};

struct Result {
  std::string text;
  bool succeeded;
};

std::string show(bool value) {
  return value ? "true" : "false";
}

// A string in double quotes, on one line and unmistakable whatever it holds.
std::string show(const char* text) {
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

Result outcome(bool success) {
  return {show(success), success};
}
Result value(const char* text) {
  return {show(text), true};
}
Result value(bool flag) {
  return {show(flag), true};
}
Result value(int count) {
  return {std::to_string(count), true};
}

Result status(Interface& p, const Arguments& a) {
  const FileState state = askStatus(p, a.text(0));
  std::string shown = show(state.known) + " controlled=" + show(state.controlled);
  if (state.known) {
    shown += " edited=" + show(state.edited) + " modified=" + show(state.modified) +
             " outOfDate=" + show(state.outOfDate) + " statusText=" + show(state.text.c_str()) +
             " workingRevision=" + show(state.workingRevision.c_str()) +
             " repositoryRevision=" + show(state.repositoryRevision.c_str());
  }
  return {shown, state.known};
}

Result preMulti(Interface& p, const Arguments&) {
  p.preMulti();
  return {"done", true};
}

struct Operation {
  const char* name;
  const char* parameters;  // names; those that hold a "|" are one of the two words
  Result (*run)(Interface&, const Arguments&);
};

using I = Interface;
using A = const Arguments;

// By the names and in the order of the interface.
constexpr Operation operations[] = {
    {"setOption", "KEY VALUE",
     [](I& p, A& a) { return outcome(p.setOption(a.text(0), a.text(1))); }},
    {"iterateRepositoryList", "", [](I& p, A&) { return value(p.iterateRepositoryList()); }},
    {"getRepositoryListEntry", "", [](I& p, A&) { return value(p.getRepositoryListEntry()); }},
    {"login", "USER PASSWORD ROOT",
     [](I& p, A& a) { return outcome(p.login(a.text(0), a.text(1), a.text(2))); }},
    {"logout", "", [](I& p, A&) { return outcome(p.logout()); }},
    {"setRoots", "LOCAL", [](I& p, A& a) { return outcome(p.setRoots(a.text(0))); }},
    {"setRoots", "LOCAL REMOTE",
     [](I& p, A& a) { return outcome(p.setRoots(a.text(0), a.text(1))); }},
    {"getLocalRoot", "", [](I& p, A&) { return value(p.getLocalRoot()); }},
    {"getRemoteRoot", "", [](I& p, A&) { return value(p.getRemoteRoot()); }},
    {"checkOutSupported", "", [](I& p, A&) { return value(p.checkOutSupported()); }},
    {"refresh", "", [](I& p, A&) { return outcome(p.refresh()); }},
    {"status", "PATH", status},
    {"addFile", "FILE COMMENT",
     [](I& p, A& a) { return outcome(p.addFile(a.text(0), a.text(1))); }},
    {"saved", "PATH", [](I& p, A& a) { return outcome(p.saved(a.text(0))); }},
    {"getFile", "FILE true|false",
     [](I& p, A& a) { return outcome(p.getFile(a.text(0), a.flag(1))); }},
    {"getTo", "FILE REVISION DESTINATION",
     [](I& p, A& a) { return outcome(p.getTo(a.text(0), a.text(1), a.text(2))); }},
    {"checkout", "FILE TEXT true|false",
     [](I& p, A& a) { return outcome(p.checkout(a.text(0), a.text(1), a.flag(2))); }},
    {"undoCheckout", "FILE true|false",
     [](I& p, A& a) { return outcome(p.undoCheckout(a.text(0), a.flag(1))); }},
    {"checkin", "FILE COMMENT",
     [](I& p, A& a) { return outcome(p.checkin(a.text(0), a.text(1))); }},
    {"merged", "FIRST SECOND", [](I& p, A& a) { return value(p.merged(a.text(0), a.text(1))); }},
    {"getRoot", "", [](I& p, A&) { return value(p.getRoot()); }},
    {"refreshDirectoriesList", "PATH",
     [](I& p, A& a) { return outcome(p.refreshDirectoriesList(a.text(0))); }},
    {"iterateRemoteDirectory", "PATH true|false",
     [](I& p, A& a) { return value(p.iterateRemoteDirectory(a.text(0), a.flag(1))); }},
    {"getRemoteDirectoryEntry", "", [](I& p, A&) { return value(p.getRemoteDirectoryEntry()); }},
    {"createDirectory", "PARENT NAME",
     [](I& p, A& a) { return outcome(p.createDirectory(a.text(0), a.text(1))); }},
    {"getLastErrorCommand", "", [](I& p, A&) { return value(p.getLastErrorCommand()); }},
    {"getLastError", "", [](I& p, A&) { return value(p.getLastError()); }},
    {"preMulti", "", preMulti},
    {"postMulti", "", [](I& p, A&) { return outcome(p.postMulti()); }},
};

// Splits a line as a shell would: words between blanks, '...' as it stands, "..." and bare words
// with backslash escapes (\n, \r and \t are the control characters), and a comment from a # that
// begins a word. None when a quote or an escape is not finished.
std::optional<Words> splitLine(const std::string& line) {
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

struct Call {
  const Operation* operation;
  Arguments arguments;
};

bool takes(const Operation& operation, const Words& words) {
  const Words parameters = splitLine(operation.parameters).value();
  if (words.size() != parameters.size()) return false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const bool flag = parameters[i].text.find('|') != std::string::npos;
    if (flag && words[i].text != "true" && words[i].text != "false") return false;
  }
  return true;
}

// The operation that a line, cut into words, asks for; or else what was expected instead.
std::optional<Call> findCall(Words words, std::string& expected) {
  const std::string name = words.front().text;
  words.erase(words.begin());
  for (const Operation& operation : operations) {
    if (operation.name != name) continue;
    if (takes(operation, words)) return Call{&operation, Arguments(std::move(words))};
    expected += expected.empty() ? "expected " : ", or ";
    expected += std::string(operation.name) + (*operation.parameters == '\0' ? " alone" : " ") +
                operation.parameters;
  }
  if (expected.empty()) {
    expected = "expected an operation of the interface, such as status or setRoots, not " + name;
  }
  return std::nullopt;
}

// Reads a script call by call.
class Script {
 public:
  Script(std::istream& input, std::string name) : input_(input), name_(std::move(name)) {}

  // The next call; none at the end and at a bad line, which is reported.
  std::optional<Call> next() {
    std::string line;
    while (std::getline(input_, line)) {
      ++lineNumber_;
      std::optional<Words> words = splitLine(line);
      if (words.has_value() && words->empty()) continue;
      std::string expected = "expected the end of a quotation or of a \\ escape";
      if (words.has_value()) {
        expected.clear();
        if (auto call = findCall(std::move(*words), expected)) return call;
      }
      complain(name_ + ":" + std::to_string(lineNumber_) + ": " + expected);
      bad_ = true;
      return std::nullopt;
    }
    return std::nullopt;
  }
  bool bad() const { return bad_; }

 private:
  std::istream& input_;
  const std::string name_;
  int lineNumber_ = 0;
  bool bad_ = false;
};

bool runCall(const Provider& provider, const Call& call) {
  const Result result = call.operation->run(provider.object(), call.arguments);
  std::cout << call.operation->name << ": " << result.text << std::endl;
  return result.succeeded;
}

}  // namespace

int runScript(const Provider& provider, const std::string& file) {
  bool succeeded = true;
  if (file.empty()) {
    // Line by line, as somebody may be typing.
    Script script(std::cin, "standard input");
    while (const auto call = script.next()) succeeded = runCall(provider, *call) && succeeded;
    return script.bad() ? exitUsage : succeeded ? exitSuccess : exitFailure;
  }

  std::ifstream input(file);
  if (!input || std::filesystem::is_directory(file)) {
    complain("cannot read the script " + file);
    return exitUsage;
  }
  // Read to its end before the first call: a script with a bad line does nothing at all.
  Script script(input, file);
  std::vector<Call> calls;
  while (auto call = script.next()) calls.push_back(std::move(*call));
  if (script.bad()) return exitUsage;
  for (const auto& call : calls) succeeded = runCall(provider, call) && succeeded;
  return succeeded ? exitSuccess : exitFailure;
}
