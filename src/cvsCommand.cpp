#include <algorithm>
#include <utility>

#include "cvs.h"
#include "spawnProcess.h"

std::string_view takeToken(std::string_view& text, std::string_view delimiters) {
  text.remove_prefix(std::min(text.find_first_not_of(delimiters), text.size()));
  const std::string_view token = text.substr(0, text.find_first_of(delimiters));
  text.remove_prefix(token.size());
  return token;
}

void splitString(const char* text, const char* delimiters, std::vector<std::string>& out) {
  std::string_view rest = text == nullptr ? "" : text;
  for (auto token = takeToken(rest, delimiters); !token.empty();
       token = takeToken(rest, delimiters)) {
    out.emplace_back(token);
  }
}

int CVSInterface::runCVSCommand(Process& process, const std::string& command,
                                const std::vector<std::string>& globalOptions,
                                const std::vector<std::string>& commandOptions,
                                const std::string& workingDirectory,
                                const std::vector<std::string>& files) {
  std::list<const char*> arguments = {cvsExecutable.c_str(), "-d", cvsRoot.c_str()};
  for (const auto& option : globalOptions) arguments.push_back(option.c_str());
  arguments.push_back(command.c_str());
  for (const auto& option : commandOptions) arguments.push_back(option.c_str());
  for (const auto& file : files) arguments.push_back(file.c_str());

  const int result =
      process.run(std::move(arguments), /*wait=*/true, workingDirectory.c_str(), true,
                  /*captureOutput=*/true, /*captureErrors=*/true, false, true);
  if (result != 0 || !process.errorLines.empty()) {
    std::string text;
    for (const char* line : process.errorLines) {
      if (!text.empty()) text += '\n';
      text += line;
    }
    setLastError(command, text);
  }
  return result;
}

int CVSInterface::executeCVSCommand(const std::string& command,
                                    const std::vector<std::string>& globalOptions,
                                    const std::vector<std::string>& commandOptions,
                                    const std::string& workingDirectory,
                                    const std::vector<std::string>& files,
                                    std::vector<std::string>& output) {
  output.clear();
  Process process;
  const int result =
      runCVSCommand(process, command, globalOptions, commandOptions, workingDirectory, files);
  for (const char* line : process.outputLines) output.emplace_back(line);
  return result;
}
