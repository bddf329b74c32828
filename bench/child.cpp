// Stands in for the version-control client: whatever its arguments, it writes the file that the
// environment variable BENCH_OUTPUT names to its standard output; nothing when that is empty.

#include <fcntl.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <cstdlib>

int main() {
  const char* path = std::getenv("BENCH_OUTPUT");
  if (path == nullptr || *path == '\0') return 0;
  const int file = open(path, O_RDONLY);
  constexpr std::size_t most = 1 << 20;
  ssize_t sent = 1;
  while (sent > 0) sent = sendfile(STDOUT_FILENO, file, nullptr, most);
  return sent == 0 ? 0 : 1;
}
