// internal/token.h - the substring tokeniser behind Str_Tok and the XML
// decoder. Private to the library: never installed.
#pragma once

namespace libbase {

// Cuts the text at *pstr at the first occurrence of key: a NUL ends the
// token there and *pstr moves past the key, or to the text's end when no
// key follows. A key at the very start is cut only with cut_leading_key
// (giving an empty token); otherwise the token keeps it in front. The
// token; NULL when it is empty, or when pstr, *pstr or key is NULL or key
// is empty (then nothing moves).
char *cut_token(char **pstr, const char *key, bool cut_leading_key);

} // namespace libbase
