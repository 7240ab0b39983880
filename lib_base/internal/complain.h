// internal/complain.h - the bad-argument trace lines the modules print on
// standard output. Their layouts are fixed: applications and their log
// scrapers read them. Private to the library: never installed.
#pragma once

namespace libbase {

// "\n[<module> line<line>]<func>()\t", then message, then "\n" (three
// printf calls); module and func are right-aligned in 10 columns.
void trace_bad_argument(const char *module, int line, const char *func, const char *message);

// "<module> <func>() line <line> erro\n" ("erro" is the fixed spelling).
void trace_erro(const char *module, const char *func, int line);

// "error [ <file>:<line> in <func>: ]\n".
void print_error_at(const char *file, int line, const char *func);

// "error [ <file>:<line> in <func> : ]\n": the same with a blank before the
// colon, the fixed text of one complaint of the event timer service.
void print_error_at_spaced(const char *file, int line, const char *func);

} // namespace libbase
