/* libbase_api.h - marks the names the shared library exports.
 *
 * The library is built with hidden visibility; every public function and
 * variable is declared with LIBBASE_API so that only those names leave it. */
#ifndef LIBBASE_API_H
#define LIBBASE_API_H

#if defined(__GNUC__)
#define LIBBASE_API __attribute__((visibility("default")))
#else
#define LIBBASE_API
#endif

#endif /* LIBBASE_API_H */
