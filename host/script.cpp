#include <functional>
#include <iostream>
#include <optional>
#include <string_view>
#include <utility>

#include "commands.h"
#include "console.h"
#include "files.h"
#include "words.h"

namespace {

using I = SourceCodeControlSystemProviderInterface;

// The arguments of one operation, as the interface takes them.
struct Arguments {
  Words words;

  // A bare null is the null pointer.
  const char* operator[](std::size_t index) const {
    const Word& word = words[index];
    return !word.quoted && word.text == "null" ? nullptr : word.text.c_str();
  }
  bool flag(std::size_t index) const { return words[index].text == "true"; }
};

using A = const Arguments;

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

Result told(const std::string& text) {
  return {text, true};
}

Result answer(const char* text) {
  return told(quoteWord(text));
}

Result showStatusOf(I& provider, const char* path) {
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

Result list(I& provider, const char* path, bool directories) {
  const int count = provider.iterateRemoteDirectory(path, directories);
  return {std::to_string(count), !hasListingFailed(provider, count)};
}

struct Operation {
  const char* name;
  const char* parameters;  // names; one with a "|" takes either of its two words
  Result (*run)(I&, A&);
};

// Names and order are those of the interface.
constexpr Operation operations[] = {
    {"setOption", "KEY VALUE", [](I& p, A& a) { return done(p.setOption(a[0], a[1])); }},
    {"iterateRepositoryList", "",
     [](I& p, A&) { return told(std::to_string(p.iterateRepositoryList())); }},
    {"getRepositoryListEntry", "", [](I& p, A&) { return answer(p.getRepositoryListEntry()); }},
    {"login", "USER PASSWORD ROOT", [](I& p, A& a) { return done(p.login(a[0], a[1], a[2])); }},
    {"logout", "", [](I& p, A&) { return done(p.logout()); }},
    {"setRoots", "LOCAL", [](I& p, A& a) { return done(p.setRoots(a[0])); }},
    {"setRoots", "LOCAL REMOTE", [](I& p, A& a) { return done(p.setRoots(a[0], a[1])); }},
    {"getLocalRoot", "", [](I& p, A&) { return answer(p.getLocalRoot()); }},
    {"getRemoteRoot", "", [](I& p, A&) { return answer(p.getRemoteRoot()); }},
    {"checkOutSupported", "", [](I& p, A&) { return told(show(p.checkOutSupported())); }},
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
    {"merged", "FIRST SECOND", [](I& p, A& a) { return told(show(p.merged(a[0], a[1]))); }},
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
    {"preMulti", "", [](I& p, A&) { return p.preMulti(), told("done"); }},
    {"postMulti", "", [](I& p, A&) { return done(p.postMulti()); }},
};

struct Call {
  const Operation* operation;
  Arguments arguments;
};

bool takes(const Operation& operation, const Words& words) {
  const Words parameters = splitWords(operation.parameters).value();
  bool isRight = words.size() == parameters.size();
  for (std::size_t i = 0; isRight && i < words.size(); ++i) {
    const bool isSwitch = parameters[i].text.find('|') != std::string::npos;
    isRight = !isSwitch || words[i].text == "true" || words[i].text == "false";
  }
  return isRight;
}

// The call that the words of a line ask for. None, with a message in `expected`, for a bad line.
std::optional<Call> findCall(Words words, std::string& expected) {
  const std::string name = words.front().text;
  words.erase(words.begin());
  for (const Operation& operation : operations) {
    if (operation.name != name) continue;
    if (takes(operation, words)) return Call{&operation, {std::move(words)}};
    expected += expected.empty() ? "expected " : ", or ";
    expected += name + (*operation.parameters == '\0' ? " alone" : " ") + operation.parameters;
  }
  if (expected.empty()) {
    expected = "expected an operation of the interface, such as status or setRoots, not " + name;
  }
  return std::nullopt;
}

// Passes a script's calls on, up to a bad line, which is reported. Returns whether there was none.
bool readCalls(std::FILE* input, const std::string& name,
               const std::function<void(const Call&)>& handle) {
  constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
  std::string line, expected;
  for (int number = 1; readLine(input, line); ++number) {
    if (number == 1 && line.rfind(byteOrderMark, 0) == 0) line.erase(0, byteOrderMark.size());
    std::optional<Words> words = splitWords(line);
    if (words.has_value() && words->empty()) continue;
    if (!words.has_value()) expected = "unterminated quote or escape";
    const auto call = words.has_value() ? findCall(std::move(*words), expected) : std::nullopt;
    if (!call.has_value()) {
      complain(name + ":" + std::to_string(number) + ": " + expected);
      return false;
    }
    handle(*call);
  }
  return true;
}

}  // namespace

int runScript(Job& job) {
  const bool isNamed = !job.line.arguments.empty();
  const std::string name = isNamed ? job.line.arguments[0] : "standard input";
  const FilePointer file(isNamed ? std::fopen(name.c_str(), "re") : nullptr);
  if (isNamed && (file == nullptr || kindOf(name) == FileKind::directory)) {
    complain("cannot read the script " + name);
    return exitUsage;
  }
  bool succeeded = true, isBatchOpen = false;
  const auto perform = [&](const Call& call) {
    const Result result = call.operation->run(job.provider.object(), call.arguments);
    const std::string operation = call.operation->name;
    say(operation + ": " + result.text);
    std::cout.flush();
    succeeded = result.succeeded && succeeded;
    if (operation == "preMulti") isBatchOpen = true;
    if (operation == "postMulti" && result.succeeded) isBatchOpen = false;
  };
  // Each line of the input runs at once: somebody may be typing. A file is read before the first
  // call, so that a script with a bad line does nothing at all.
  std::vector<Call> calls;
  const auto handle = [&](const Call& call) { isNamed ? calls.push_back(call) : perform(call); };
  if (!readCalls(isNamed ? file.get() : job.input, name, handle)) return exitUsage;
  for (const auto& call : calls) perform(call);
  if (isBatchOpen) complain("the batch that preMulti opened was never run by postMulti");
  return succeeded && !isBatchOpen ? exitSuccess : exitFailure;
}
