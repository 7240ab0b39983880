// internal/token.cpp - the substring tokeniser.
#include "internal/token.h"

#include <cstring>

namespace libbase {

char *cut_token(char **pstr, const char *key, bool cut_leading_key)
{
    if (pstr == nullptr || *pstr == nullptr || key == nullptr || key[0] == '\0')
        return nullptr;
    char *token = *pstr;
    char *hit = strstr(token, key);
    if (hit == nullptr) {
        *pstr = token + strlen(token);
    } else {
        *pstr = hit + strlen(key);
        if (hit != token || cut_leading_key)
            *hit = '\0';
    }
    return token[0] != '\0' ? token : nullptr;
}

} // namespace libbase
