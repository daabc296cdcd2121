#ifndef TRELLIS_EXPORT_H
#define TRELLIS_EXPORT_H

/// Marks the functions and objects that the shared library offers to hosts; everything else in it
/// is hidden.
#if defined(__GNUC__)
#define TRELLIS_API __attribute__((visibility("default")))
#else
#define TRELLIS_API
#endif

/// Brackets the declarations of a header that both C and C++ hosts include.
#ifdef __cplusplus
#define TRELLIS_BEGIN_DECLS extern "C" {
#define TRELLIS_END_DECLS }
#else
#define TRELLIS_BEGIN_DECLS
#define TRELLIS_END_DECLS
#endif

#endif
