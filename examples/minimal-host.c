/* The same host in C. It drives the provider through its table of functions. In the C++ ABI of GNU
   systems the first word of an object points to that table. The entries are in the order of the
   interface. Each takes the object first, and pointers for references.

     gcc -m32 minimal-host.c -o minimal-host -ldl
     ./minimal-host LIBRARY REPOSITORY WORKING-COPY FILE [MESSAGE] */
#include <dlfcn.h>
#include <stdbool.h>
#include <stdio.h>

typedef struct Provider Provider;
struct Provider {
  const struct Operations* does;
};
struct Operations {
  bool (*setOption)(Provider*, const char* key, const char* value);
  int (*iterateRepositoryList)(Provider*);
  const char* (*getRepositoryListEntry)(Provider*);
  bool (*login)(Provider*, const char* user, const char* password, const char* root);
  bool (*logout)(Provider*);
  bool (*setRoots)(Provider*, const char* local);
  bool (*setRootsByCheckout)(Provider*, const char* local, const char* remote);
  const char* (*getLocalRoot)(Provider*);
  const char* (*getRemoteRoot)(Provider*);
  bool (*checkOutSupported)(Provider*);
  bool (*refresh)(Provider*);
  bool (*status)(Provider*, const char* path, bool* controlled, bool* edited, bool* modified,
                 bool* outOfDate, const char** statusText, const char** workingRevision,
                 const char** repositoryRevision);
  bool (*addFile)(Provider*, const char* file, const char* comment);
  bool (*saved)(Provider*, const char* path);
  bool (*getFile)(Provider*, const char* file, bool keepChanges);
  bool (*getTo)(Provider*, const char* file, const char* revision, const char* destination);
  bool (*checkout)(Provider*, const char* file, const char* unused, bool clean);
  bool (*undoCheckout)(Provider*, const char* file, bool revert);
  bool (*checkin)(Provider*, const char* file, const char* comment);
  bool (*merged)(Provider*, const char* first, const char* second);
  const char* (*getRoot)(Provider*);
  bool (*refreshDirectoriesList)(Provider*, const char* path);
  int (*iterateRemoteDirectory)(Provider*, const char* path, bool directories);
  const char* (*getRemoteDirectoryEntry)(Provider*);
  bool (*createDirectory)(Provider*, const char* parent, const char* name);
  const char* (*getLastErrorCommand)(Provider*);
  const char* (*getLastError)(Provider*);
  void (*preMulti)(Provider*);
  bool (*postMulti)(Provider*);
};

static int fail(Provider* provider, const char* operation) {
  fprintf(stderr, "%s failed; the last words of the client, in \"%s\": %s\n", operation,
          provider->does->getLastErrorCommand(provider), provider->does->getLastError(provider));
  return 1;
}

static bool printStatus(Provider* provider, const char* file) {
  bool controlled = false, edited = false, modified = false, outOfDate = false;
  const char *text = "", *working = "", *repository = "";
  if (!provider->does->status(provider, file, &controlled, &edited, &modified, &outOfDate, &text,
                              &working, &repository)) {
    return false;
  }
  printf("%s: %s, %s here, %s there%s\n", file, text, working, repository,
         edited ? ", edited" : "");
  return true;
}

static int run(Provider* provider, const char* repository, const char* workingCopy,
               const char* file, const char* message) {
  const struct Operations* does = provider->does;
  does->setOption(provider, "Environment/Source Code Control/CVSExecutable", "cvs");
  does->setOption(provider, "Environment/Source Code Control/CVSRoot", repository);
  does->setOption(provider, "Environment/Source Code Control/CVSEditSupported", "Yes");
  if (!does->setRoots(provider, workingCopy)) {
    fprintf(stderr, "%s is not a working copy\n", workingCopy);
    return 1;
  }
  if (!printStatus(provider, file)) return fail(provider, "status");
  if (message == NULL) return 0;
  if (!does->checkin(provider, file, message)) return fail(provider, "commit");
  return printStatus(provider, file) ? 0 : fail(provider, "status");
}

int main(int count, char** arguments) {
  Provider* (*allocate)(void) = NULL;
  void (*release)(Provider*) = NULL;
  void* library;
  Provider* provider;
  int status;
  if (count < 5) {
    fprintf(stderr, "usage: %s LIBRARY REPOSITORY WORKING-COPY FILE [MESSAGE]\n", arguments[0]);
    return 2;
  }
  library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 2;
  }
  /* ISO C cannot convert an object pointer to a function pointer; POSIX does it in this way. */
  *(void**)&allocate = dlsym(library, "AllocateSourceCodeControlSystemInterface");
  *(void**)&release = dlsym(library, "ReleaseSourceCodeControlSystemInterface");
  provider = allocate == NULL || release == NULL ? NULL : allocate();
  if (provider == NULL) {
    fprintf(stderr, "%s gives no provider\n", arguments[1]);
    return 2;
  }
  status = run(provider, arguments[2], arguments[3], arguments[4], count > 5 ? arguments[5] : NULL);
  release(provider);
  dlclose(library);
  return status;
}
