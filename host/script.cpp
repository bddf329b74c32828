#include <iostream>
#include <optional>
#include <type_traits>
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

std::string show(int value) {
  return std::to_string(value);
}

std::string show(bool value) {
  return value ? "true" : "false";
}

std::string show(const char* text) {
  return quoteWord(text);
}

// An argument of an operation, by the type of its parameter.
template <typename Type>
Type read(const Arguments& given, std::size_t index) {
  if constexpr (std::is_same_v<Type, bool>) {
    return given.flag(index);
  } else {
    return given.text(index);
  }
}

template <typename Value, typename... Parameters, std::size_t... indices>
Value call(Value (Interface::*operation)(Parameters...), Interface& provider,
           const Arguments& given, std::index_sequence<indices...>) {
  return (provider.*operation)(read<Parameters>(given, indices)...);
}

template <typename Value, typename... Parameters>
Value call(Value (Interface::*operation)(Parameters...), Interface& provider,
           const Arguments& given) {
  return call(operation, provider, given, std::index_sequence_for<Parameters...>());
}

// An operation that returns whether it succeeded.
template <auto operation>
Result run(Interface& provider, const Arguments& given) {
  const bool succeeded = call(operation, provider, given);
  return {show(succeeded), succeeded};
}

// An operation that returns an answer.
template <auto operation>
Result ask(Interface& provider, const Arguments& given) {
  return {show(call(operation, provider, given)), true};
}

constexpr bool (Interface::*setRoot)(const char*) = &Interface::setRoots;
constexpr bool (Interface::*setNewRoot)(const char*, const char*) = &Interface::setRoots;

Result askStatusOf(Interface& provider, const Arguments& given) {
  const FileState state = askStatus(provider, given.text(0));
  std::string shown = show(state.known) + " controlled=" + show(state.controlled);
  if (state.known) {
    shown += " edited=" + show(state.edited) + " modified=" + show(state.modified) +
             " outOfDate=" + show(state.outOfDate) +
             " statusText=" + show(state.statusText.c_str()) +
             " workingRevision=" + show(state.workingRevision.c_str()) +
             " repositoryRevision=" + show(state.repositoryRevision.c_str());
  }
  return {shown, state.known};
}

Result listDirectory(Interface& provider, const Arguments& given) {
  const int count = call(&Interface::iterateRemoteDirectory, provider, given);
  return {show(count), !hasListingFailed(provider, count)};
}

Result openBatch(Interface& provider, const Arguments&) {
  provider.preMulti();
  return {"done", true};
}

struct Operation {
  const char* name;
  const char* parameters;  // names; one with a "|" takes either of its two words
  Result (*run)(Interface&, const Arguments&);
};

// Names and order are those of the interface.
constexpr Operation operations[] = {
    {"setOption", "KEY VALUE", run<&Interface::setOption>},
    {"iterateRepositoryList", "", ask<&Interface::iterateRepositoryList>},
    {"getRepositoryListEntry", "", ask<&Interface::getRepositoryListEntry>},
    {"login", "USER PASSWORD ROOT", run<&Interface::login>},
    {"logout", "", run<&Interface::logout>},
    {"setRoots", "LOCAL", run<setRoot>},
    {"setRoots", "LOCAL REMOTE", run<setNewRoot>},
    {"getLocalRoot", "", ask<&Interface::getLocalRoot>},
    {"getRemoteRoot", "", ask<&Interface::getRemoteRoot>},
    {"checkOutSupported", "", ask<&Interface::checkOutSupported>},
    {"refresh", "", run<&Interface::refresh>},
    {"status", "PATH", askStatusOf},
    {"addFile", "FILE COMMENT", run<&Interface::addFile>},
    {"saved", "PATH", run<&Interface::saved>},
    {"getFile", "FILE true|false", run<&Interface::getFile>},
    {"getTo", "FILE REVISION DESTINATION", run<&Interface::getTo>},
    {"checkout", "FILE TEXT true|false", run<&Interface::checkout>},
    {"undoCheckout", "FILE true|false", run<&Interface::undoCheckout>},
    {"checkin", "FILE COMMENT", run<&Interface::checkin>},
    {"merged", "FIRST SECOND", ask<&Interface::merged>},
    {"getRoot", "", ask<&Interface::getRoot>},
    {"refreshDirectoriesList", "PATH", run<&Interface::refreshDirectoriesList>},
    {"iterateRemoteDirectory", "PATH true|false", listDirectory},
    {"getRemoteDirectoryEntry", "", ask<&Interface::getRemoteDirectoryEntry>},
    {"createDirectory", "PARENT NAME", run<&Interface::createDirectory>},
    {"getLastErrorCommand", "", ask<&Interface::getLastErrorCommand>},
    {"getLastError", "", ask<&Interface::getLastError>},
    {"preMulti", "", openBatch},
    {"postMulti", "", run<&Interface::postMulti>},
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
  Script(LineReader& input, std::string name) : input_(input), name_(std::move(name)) {}

  // The next call; none at the end and at a bad line, which is reported.
  std::optional<Call> next() {
    constexpr char byteOrderMark[] = "\xef\xbb\xbf";
    while (auto line = input_.readLine()) {
      const bool isFirst = ++lineNumber_ == 1;
      if (isFirst && line->rfind(byteOrderMark, 0) == 0) line->erase(0, sizeof byteOrderMark - 1);
      std::optional<Words> words = splitWords(*line);
      if (words.has_value() && words->empty()) continue;
      std::string expected = "unterminated quote or escape";
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
  LineReader& input_;
  const std::string name_;
  int lineNumber_ = 0;
  bool bad_ = false;
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
    if (isBatchOpen_)
      complain("the batch that preMulti opened was never run to its end by postMulti");
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
  const auto& given = job.line.arguments;
  if (given.empty()) {
    // Run each line at once: somebody may be typing.
    Script script(job.input, "standard input");
    while (const auto call = script.next()) player.perform(*call);
    const int status = player.finish();
    return script.bad() ? exitUsage : status;
  }

  const std::string& file = given[0];
  LineReader reader(std::fopen(file.c_str(), "re"));
  if (!reader.isOpen() || kindOf(file) == FileKind::directory) {
    complain("cannot read the script " + file);
    return exitUsage;
  }
  // Read the whole script before the first call: a script with a bad line does nothing at all.
  Script script(reader, file);
  std::vector<Call> calls;
  while (auto call = script.next()) calls.push_back(std::move(*call));
  if (script.bad()) return exitUsage;
  for (const auto& call : calls) player.perform(call);
  return player.finish();
}
