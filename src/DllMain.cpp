#include <new>
#include <type_traits>

#include "cvs.h"

#define EXPORTED __attribute__((visibility("default")))

// No exception leaves the allocation function: only the allocation of the object can fail.
static_assert(std::is_nothrow_default_constructible_v<CVSInterface>);

extern "C" EXPORTED SourceCodeControlSystemProviderInterface*
AllocateSourceCodeControlSystemInterface() {
  return new (std::nothrow) CVSInterface;
}

extern "C" EXPORTED void ReleaseSourceCodeControlSystemInterface(
    SourceCodeControlSystemProviderInterface* provider) {
  delete static_cast<CVSInterface*>(provider);
}
