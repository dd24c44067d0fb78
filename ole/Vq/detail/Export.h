/// The two compile-time switches that decide what crosses a library's border.
#pragma once

/// Marks what belongs to the exported interface; everything else is built hidden. It goes on
/// classes as a whole (also on class templates: on an explicit instantiation alone it exports
/// nothing), so that their type information is one and the same in every library that throws or
/// casts them.
#define VQ_EXPORT __attribute__((visibility("default")))

/// Announces an instantiation that libVq exports, so that clients share one copy of its code. A
/// library below libVq defines VQ_NO_EXTERN_TEMPLATES and makes copies of its own instead.
#ifdef VQ_NO_EXTERN_TEMPLATES
#define VQ_EXPORTED_INSTANTIATION(...) static_assert(true)
#else
#define VQ_EXPORTED_INSTANTIATION(...) extern template __VA_ARGS__
#endif
