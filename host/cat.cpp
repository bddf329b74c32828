#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "commands.h"
#include "console.h"
#include "files.h"
#include "revision.h"

namespace {

// Copies the rest of a file. False, with errno set, when not all of it could be written.
bool copyBytes(int from, int to) {
  char bytes[1 << 16];
  for (;;) {
    const ssize_t count = read(from, bytes, sizeof bytes);
    if (count <= 0) return count == 0;
    for (ssize_t done = 0; done < count;) {
      const ssize_t written = write(to, bytes + done, static_cast<std::size_t>(count - done));
      if (written == -1) return false;
      done += written;
    }
  }
}

// Writes beside the target and renames: whatever happens, one of the two texts is there as a whole.
bool replaceFile(int from, const std::string& target, mode_t mode) {
  std::string beside = target + ".XXXXXX";
  Descriptor to(mkostemp(beside.data(), O_CLOEXEC));
  if (to.get() == -1) return false;
  const bool isWritten = copyBytes(from, to.get()) && fchmod(to.get(), mode) == 0 && to.close();
  if (isWritten && std::rename(beside.c_str(), target.c_str()) == 0) return true;
  const int error = errno;
  unlink(beside.c_str());
  errno = error;
  return false;
}

// Writes to a file, or where there is no name to the standard output. False, with errno set, when
// not all could be written.
bool writeTo(const std::string& target, int from) {
  if (target.empty()) return copyBytes(from, STDOUT_FILENO);
  struct stat found = {};
  const bool isThere = stat(target.c_str(), &found) == 0;
  const bool isDevice = target.rfind("/dev/", 0) == 0;  // the standard output may be a file
  if (!isDevice && (isThere ? S_ISREG(found.st_mode) : !isHere(target))) {
    const mode_t mask = umask(0);
    umask(mask);
    const mode_t mode = isThere ? found.st_mode & 07777 : 0666 & ~mask;
    return replaceFile(from, resolve(target).value_or(target), mode);
  }
  Descriptor to(open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
  return to.get() != -1 && copyBytes(from, to.get()) && to.close();
}

}  // namespace

int printRevision(Job& job) {
  const File file = findFile(job.session.directory, job.paths.front());
  const auto fail = [&](const std::string& reason) {
    complain(shown(file.path) + ' ' + reason);
    return exitFailure;
  };
  const FileKind kind = kindOf(job.session.pathOf(file.path));
  if (kind == FileKind::directory || file.entry.directory) {
    return fail("is a directory; cat takes one file");
  }
  if (isBinary(job.session, file) && !job.line.force) {
    return fail(
        (file.entry.isBinary() ? "is binary (-kb)" : "holds NUL bytes here, so it may be binary") +
        std::string(", and a revision is fetched as lines of text, which changes it; "
                    "--force fetches it anyway"));
  }
  const Descriptor fetched(openTemporary());
  if (!fetchRevision(job.session, file, job.line.revision, fetched)) return exitFailure;
  if (writeTo(job.line.output, fetched.get())) return exitSuccess;
  const std::string target = job.line.output.empty() ? "the standard output" : job.line.output;
  complain("cannot write " + target + ": " + std::strerror(errno));
  return exitFailure;
}
