/// Which build of the library, and of the application, is running.
///
/// Thread rule: safe.
#pragma once

#include "Vq/LightweightString.h"
#include "Vq/detail/Export.h"

/// The library's version number, as "14.5.0.0": static text, the same pointer at every call.
VQ_EXPORT const char* vqDllVersionStr();

namespace Vq {

/// A label for title bars and about boxes: the application's name as the platform has it, directly
/// followed, without a space, by the library's version, a build number in parentheses and the build
/// date, as "Editor14.5.0.0 (110128) - Oct 25 2018". The application "Marlin Cut" has a release and
/// a build number of its own, and a label without its name. Made anew at each call, which asks the
/// platform for the name twice; throws what the platform throws, for want of memory as a rule.
VQ_EXPORT LightweightString<wchar_t> getVersionLabel();

} // namespace Vq
