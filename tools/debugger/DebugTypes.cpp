// The types that the debugger's printers show, described in the library itself. Without this a
// program's own debug information would have to: GCC's leaves out a class whose virtual functions
// are the library's, Clang's nearly every class here.
#include "Vq/Vq.h"

namespace {

[[gnu::used]] void typesForDebuggers(LightweightString<char>*, LightweightString<wchar_t>*,
                                     LightweightVector<Vq::AttribValuePair>*, Vq::UUID*, VqIniFile*,
                                     CriticalSection*, Vq::LockFree::RWLock*, iFile*,
                                     iCriticalSection*) {}

} // namespace
