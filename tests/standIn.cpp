// Stands in for the client: records how it was called and replays what a test has prepared.
//
// The environment's STAND_IN names a directory. Every call is appended to its file "calls": the
// working directory, behind it whether that is empty, and private, and every argument, separated by
// "|". The reply is in the files KEY.out, KEY.err and KEY.exit, where KEY is COMMAND:LAST-ARGUMENT
// ("%" in place of "/") or, when there is no such reply, COMMAND; without any, an empty success.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

std::string read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

void write(int descriptor, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = ::write(descriptor, text.data() + done, text.size() - done);
    if (count < 0) std::exit(99);
    done += static_cast<std::size_t>(count);
  }
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
  const int log = open((directory + "calls").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  write(log, call + '\0');

  int command = 3;  // behind -d ROOT
  if (argc > 4 && std::string(argv[command]) == "-q") ++command;
  std::string last = argv[argc - 1];
  std::replace(last.begin(), last.end(), '/', '%');
  std::string key = directory + argv[command] + ':' + last;
  if (!std::filesystem::exists(key + ".exit")) key = directory + argv[command];
  write(STDOUT_FILENO, read(key + ".out"));
  write(STDERR_FILENO, read(key + ".err"));
  return std::atoi(read(key + ".exit").c_str());
}
