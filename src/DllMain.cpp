#include <new>
#include <type_traits>

#include "cvs.h"

#define EXPORTED __attribute__((visibility("default")))

// No exception leaves the allocation function: memory for the object is all it can run out of.
static_assert(std::is_nothrow_default_constructible_v<CVSInterface>);

extern "C" EXPORTED SourceCodeControlSystemProviderInterface*
AllocateSourceCodeControlSystemInterface() {
  return new (std::nothrow) CVSInterface;
}

extern "C" EXPORTED void ReleaseSourceCodeControlSystemInterface(
    SourceCodeControlSystemProviderInterface* provider) {
  delete static_cast<CVSInterface*>(provider);
}
