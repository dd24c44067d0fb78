/// How the calling thread's locale maps the case of wide ASCII.
#pragma once

#include "Vq/detail/AsciiCase.h"

namespace Vq::detail {

/// Does `towupper` or `towlower` map ASCII plainly in the calling thread's locale? The locale may
/// change at any time, so ask before each text. Takes as long as mapping a few characters.
///
/// Thread rule: safe, as far as libc's functions of locales are.
bool localeMapsAsciiPlainly(Case wanted) noexcept;

} // namespace Vq::detail
