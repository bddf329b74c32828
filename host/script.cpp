#include <iostream>
#include <optional>
#include <utility>

#include "commands.h"
#include "console.h"
#include "files.h"
#include "words.h"

namespace {

using Interface = SourceCodeControlSystemProviderInterface;

// The arguments of one operation, as the interface takes them.
class Arguments {
 public:
  explicit Arguments(Words words) : words_(std::move(words)) {}

  // A bare null is the null pointer.
  const char* operator[](std::size_t index) const {
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

Result done(bool succeeded) {
  return {show(succeeded), succeeded};
}

Result answer(const char* text) {
  return {quoteWord(text), true};
}

Result showStatusOf(Interface& provider, const char* path) {
  const FileState state = askStatus(provider, path);
  std::string shown = show(state.known) + " controlled=" + show(state.controlled);
  if (state.known) {
    shown += " edited=" + show(state.edited) + " modified=" + show(state.modified) +
             " outOfDate=" + show(state.outOfDate) +
             " statusText=" + quoteWord(state.statusText.c_str()) +
             " workingRevision=" + quoteWord(state.workingRevision.c_str()) +
             " repositoryRevision=" + quoteWord(state.repositoryRevision.c_str());
  }
  return {shown, state.known};
}

Result list(Interface& provider, const char* path, bool directories) {
  const int count = provider.iterateRemoteDirectory(path, directories);
  return {std::to_string(count), !hasListingFailed(provider, count)};
}

Result openBatch(Interface& provider) {
  provider.preMulti();
  return {"done", true};
}

using I = Interface;
using A = const Arguments;

struct Operation {
  const char* name;
  const char* parameters;  // names; one with a "|" takes either of its two words
  Result (*run)(I&, A&);
};

// Names and order are those of the interface.
constexpr Operation operations[] = {
    {"setOption", "KEY VALUE", [](I& p, A& a) { return done(p.setOption(a[0], a[1])); }},
    {"iterateRepositoryList", "",
     [](I& p, A&) {
       return Result{std::to_string(p.iterateRepositoryList()), true};
     }},
    {"getRepositoryListEntry", "", [](I& p, A&) { return answer(p.getRepositoryListEntry()); }},
    {"login", "USER PASSWORD ROOT", [](I& p, A& a) { return done(p.login(a[0], a[1], a[2])); }},
    {"logout", "", [](I& p, A&) { return done(p.logout()); }},
    {"setRoots", "LOCAL", [](I& p, A& a) { return done(p.setRoots(a[0])); }},
    {"setRoots", "LOCAL REMOTE", [](I& p, A& a) { return done(p.setRoots(a[0], a[1])); }},
    {"getLocalRoot", "", [](I& p, A&) { return answer(p.getLocalRoot()); }},
    {"getRemoteRoot", "", [](I& p, A&) { return answer(p.getRemoteRoot()); }},
    {"checkOutSupported", "",
     [](I& p, A&) {
       return Result{show(p.checkOutSupported()), true};
     }},
    {"refresh", "", [](I& p, A&) { return done(p.refresh()); }},
    {"status", "PATH", [](I& p, A& a) { return showStatusOf(p, a[0]); }},
    {"addFile", "FILE COMMENT", [](I& p, A& a) { return done(p.addFile(a[0], a[1])); }},
    {"saved", "PATH", [](I& p, A& a) { return done(p.saved(a[0])); }},
    {"getFile", "FILE true|false", [](I& p, A& a) { return done(p.getFile(a[0], a.flag(1))); }},
    {"getTo", "FILE REVISION DESTINATION",
     [](I& p, A& a) { return done(p.getTo(a[0], a[1], a[2])); }},
    {"checkout", "FILE TEXT true|false",
     [](I& p, A& a) { return done(p.checkout(a[0], a[1], a.flag(2))); }},
    {"undoCheckout", "FILE true|false",
     [](I& p, A& a) { return done(p.undoCheckout(a[0], a.flag(1))); }},
    {"checkin", "FILE COMMENT", [](I& p, A& a) { return done(p.checkin(a[0], a[1])); }},
    {"merged", "FIRST SECOND",
     [](I& p, A& a) {
       return Result{show(p.merged(a[0], a[1])), true};
     }},
    {"getRoot", "", [](I& p, A&) { return answer(p.getRoot()); }},
    {"refreshDirectoriesList", "PATH",
     [](I& p, A& a) { return done(p.refreshDirectoriesList(a[0])); }},
    {"iterateRemoteDirectory", "PATH true|false",
     [](I& p, A& a) { return list(p, a[0], a.flag(1)); }},
    {"getRemoteDirectoryEntry", "", [](I& p, A&) { return answer(p.getRemoteDirectoryEntry()); }},
    {"createDirectory", "PARENT NAME",
     [](I& p, A& a) { return done(p.createDirectory(a[0], a[1])); }},
    {"getLastErrorCommand", "", [](I& p, A&) { return answer(p.getLastErrorCommand()); }},
    {"getLastError", "", [](I& p, A&) { return answer(p.getLastError()); }},
    {"preMulti", "", [](I& p, A&) { return openBatch(p); }},
    {"postMulti", "", [](I& p, A&) { return done(p.postMulti()); }},
};

struct Call {
  const Operation* operation;
  Arguments arguments;
};

bool takes(const Operation& operation, const Words& words) {
  const Words parameters = splitWords(operation.parameters).value();
  if (words.size() != parameters.size()) return false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const bool flag = parameters[i].text.find('|') != std::string::npos;
    if (flag && words[i].text != "true" && words[i].text != "false") return false;
  }
  return true;
}

// The call that the words of a line ask for. None, with a message in `expected`, for a bad line.
std::optional<Call> findCall(Words words, std::string& expected) {
  const std::string name = words.front().text;
  words.erase(words.begin());
  for (const Operation& operation : operations) {
    if (operation.name != name) continue;
    if (takes(operation, words)) return Call{&operation, Arguments(std::move(words))};
    expected += expected.empty() ? "expected " : ", or ";
    expected += name + (*operation.parameters == '\0' ? " alone" : " ") + operation.parameters;
  }
  if (expected.empty()) {
    expected = "expected an operation of the interface, such as status or setRoots, not " + name;
  }
  return std::nullopt;
}

// Reads a script call by call.
class Script {
 public:
  Script(std::FILE* input, std::string name) : input_(input), name_(std::move(name)) {}

  // The next call; none at the end and at a bad line, which is reported.
  std::optional<Call> next() {
    constexpr char byteOrderMark[] = "\xef\xbb\xbf";
    for (std::string line; readLine(input_, line);) {
      const bool isFirst = ++lineNumber_ == 1;
      if (isFirst && line.rfind(byteOrderMark, 0) == 0) line.erase(0, sizeof byteOrderMark - 1);
      std::optional<Words> words = splitWords(line);
      if (words.has_value() && words->empty()) continue;
      std::string expected;
      auto call = words.has_value() ? findCall(std::move(*words), expected) : std::nullopt;
      if (call.has_value()) return call;
      if (expected.empty()) expected = "unterminated quote or escape";
      complain(name_ + ":" + std::to_string(lineNumber_) + ": " + expected);
      isBad_ = true;
      return std::nullopt;
    }
    return std::nullopt;
  }
  bool isBad() const { return isBad_; }

 private:
  std::FILE* const input_;
  const std::string name_;
  int lineNumber_ = 0;
  bool isBad_ = false;
};

// Runs calls one after the other on one provider.
class Player {
 public:
  explicit Player(Provider& provider) : provider_(provider) {}

  void perform(const Call& call) {
    const Result result = call.operation->run(provider_.object(), call.arguments);
    const std::string name = call.operation->name;
    say(name + ": " + result.text);
    std::cout.flush();
    succeeded_ = result.succeeded && succeeded_;
    if (name == "preMulti") isBatchOpen_ = true;
    if (name == "postMulti" && result.succeeded) isBatchOpen_ = false;
  }

  // Returns the exit status. A batch that is still open is dropped with the provider.
  int finish() const {
    if (isBatchOpen_) complain("the batch that preMulti opened was never run by postMulti");
    return succeeded_ && !isBatchOpen_ ? exitSuccess : exitFailure;
  }

 private:
  Provider& provider_;
  bool succeeded_ = true;
  bool isBatchOpen_ = false;
};

}  // namespace

int runScript(Job& job) {
  Player player(job.provider);
  if (job.line.arguments.empty()) {
    // Run each line at once: somebody may be typing.
    Script script(job.input, "standard input");
    while (const auto call = script.next()) player.perform(*call);
    const int status = player.finish();
    return script.isBad() ? exitUsage : status;
  }

  const std::string& name = job.line.arguments[0];
  const FilePointer file(std::fopen(name.c_str(), "re"));
  if (file == nullptr || kindOf(name) == FileKind::directory) {
    complain("cannot read the script " + name);
    return exitUsage;
  }
  // Read the whole script before the first call: a script with a bad line does nothing at all.
  Script script(file.get(), name);
  std::vector<Call> calls;
  while (auto call = script.next()) calls.push_back(std::move(*call));
  if (script.isBad()) return exitUsage;
  for (const auto& call : calls) player.perform(call);
  return player.finish();
}
