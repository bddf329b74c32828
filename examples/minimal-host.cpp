// A whole host on one page: shows the state of a file, and commits it when a message is given.
//
//   g++ -m32 -I/usr/local/include minimal-host.cpp -o minimal-host -ldl
//   ./minimal-host LIBRARY REPOSITORY WORKING-COPY FILE [MESSAGE]
#include <SourceCodeControlSystemProviderInterface.h>
#include <dlfcn.h>

#include <cstdio>

namespace {

using Provider = SourceCodeControlSystemProviderInterface;

// The last error is that of the last client that failed, could not be started or wrote to its
// standard error. A call that fails before it comes to a client leaves it alone; nothing clears it.
int fail(Provider& provider, const char* operation) {
  std::fprintf(stderr, "%s failed; the last words of the client, in \"%s\": %s\n", operation,
               provider.getLastErrorCommand(), provider.getLastError());
  return 1;
}

bool printStatus(Provider& provider, const char* file) {
  bool controlled = false, edited = false, modified = false, outOfDate = false;
  const char *text = "", *working = "", *repository = "";
  if (!provider.status(file, controlled, edited, modified, outOfDate, text, working, repository)) {
    return false;
  }
  // The provider owns these strings until it reads or forgets the file's status: copy to keep them.
  std::printf("%s: %s, %s here, %s there%s\n", file, text, working, repository,
              edited ? ", edited" : "");
  return true;
}

int run(Provider& provider, const char* repository, const char* workingCopy, const char* file,
        const char* message) {
  provider.setOption("Environment/Source Code Control/CVSExecutable", "cvs");
  provider.setOption("Environment/Source Code Control/CVSRoot", repository);
  provider.setOption("Environment/Source Code Control/CVSEditSupported", "Yes");
  if (!provider.setRoots(workingCopy)) {
    std::fprintf(stderr, "%s is not a working copy\n", workingCopy);  // no client ran
    return 1;
  }
  if (!printStatus(provider, file)) return fail(provider, "status");
  if (message == nullptr) return 0;
  if (!provider.checkin(file, message)) return fail(provider, "commit");
  return printStatus(provider, file) ? 0 : fail(provider, "status");
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 5) {
    std::fprintf(stderr, "usage: %s LIBRARY REPOSITORY WORKING-COPY FILE [MESSAGE]\n",
                 arguments[0]);
    return 2;
  }
  void* library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 2;
  }
  const auto allocate = reinterpret_cast<decltype(&AllocateSourceCodeControlSystemInterface)>(
      dlsym(library, "AllocateSourceCodeControlSystemInterface"));
  const auto release = reinterpret_cast<decltype(&ReleaseSourceCodeControlSystemInterface)>(
      dlsym(library, "ReleaseSourceCodeControlSystemInterface"));
  Provider* provider = allocate == nullptr || release == nullptr ? nullptr : allocate();
  if (provider == nullptr) {
    std::fprintf(stderr, "%s gives no provider\n", arguments[1]);
    return 2;
  }
  const int status =
      run(*provider, arguments[2], arguments[3], arguments[4], count > 5 ? arguments[5] : nullptr);
  release(provider);  // also ends every string that it handed out
  dlclose(library);
  return status;
}
