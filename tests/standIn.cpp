// Stands in for the client: records how it was called and replays what a test has prepared, in the
// directory STAND_IN. Its file "calls" gets the working directory, behind it whether that is empty,
// and private, and every argument, separated by "|". The reply is in the files KEY.out, KEY.err and
// KEY.exit, where KEY is COMMAND:LAST-ARGUMENT ("%" for "/"), or else COMMAND.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace {

std::string read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

}  // namespace

int main(int argc, char** argv) {
  const char* prepared = std::getenv("STAND_IN");
  if (prepared == nullptr) return 99;
  const std::string directory = std::string(prepared) + '/';
  std::string call = std::filesystem::current_path().string();
  if (std::filesystem::is_empty(".")) {
    const auto mode = std::filesystem::status(".").permissions();
    call += mode == std::filesystem::perms::owner_all ? " (empty, private)" : " (empty)";
  }
  for (int i = 1; i < argc; ++i) call += std::string("|") + argv[i];
  std::ofstream(directory + "calls", std::ios::app) << call << '\0';

  int command = 3;  // behind -d ROOT
  if (argc > 4 && std::string(argv[command]) == "-q") ++command;
  std::string last = argv[argc - 1];
  std::replace(last.begin(), last.end(), '/', '%');
  std::string key = directory + argv[command] + ':' + last;
  if (!std::filesystem::exists(key + ".exit")) key = directory + argv[command];
  std::cout << read(key + ".out") << std::flush;
  std::cerr << read(key + ".err");
  return std::atoi(read(key + ".exit").c_str());
}
