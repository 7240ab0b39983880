// Ini.cpp - the configuration store: a file cut into key records kept in an
// object list, each record carrying the text that stood in front of its key.
#include "Ini.h"

#include <sys/stat.h>

#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "objlist.h"

// Messages, in GBK. Like every printed text they are fixed: applications
// match them, the misspelt function name GetFileCotent included.
#define MSG_BAD_ARGUMENT "\xBA\xAF\xCA\xFD\xC8\xEB\xB2\xCE\xB4\xED\xCE\xF3"
#define MSG_BAD_LOAD_ARGUMENT MSG_BAD_ARGUMENT ".fun[LoadIni]\n"
#define MSG_CANNOT_OPEN_CONFIG                                                                 \
    "\xB4\xF2\xBF\xAA\xC5\xE4\xD6\xC3\xCE\xC4\xBC\xFE[%s]\xCA\xA7\xB0\xDC\xA3\xAC\xC7\xEB\xBC" \
    "\xEC\xB2\xE9\xCE\xC4\xBC\xFE\xCA\xC7\xB7\xF1\xB4\xE6\xD4\xDA"
#define MSG_NO_MEMORY "\xC9\xEA\xC7\xEB\xC4\xDA\xB4\xE6\xCA\xA7\xB0\xDC.ini:GetFileCotent"
#define MSG_CANNOT_OPEN_FILE "\xB4\xF2\xBF\xAA\xCE\xC4\xBC\xFE\xCA\xA7\xB0\xDC[%s]\n"

namespace {

constexpr int kCommentsSize = 512;
constexpr int kKeySize = 256;
constexpr int kValueSize = 256;
constexpr int kListCapacity = 1000;  // nominal: a file may hold any number of keys

// A fixed text (applications match it), "cannnot" included.
constexpr char kReplaceCannotOpen[] = "cannnot open :%s\n";

// One key; always stored as a 1024-byte object. An empty mKey marks a
// record that only carries the trailing text of the file.
typedef struct __KEY_ST {
    char mComments[kCommentsSize];  // text in front of the key
    char mKey[kKeySize];
    char mValue[kValueSize];
} KEY_ST, *LPKEY_ST;

// One loaded file; what an LPINIVALUE points to.
typedef struct __INI_ST {
    OLH mpKeyList;                  // KEY_ST records in file order
    char mComments[kCommentsSize];  // unused, stays empty
} INI_ST, *LPINI_ST;

constexpr int kRecordSize = sizeof(KEY_ST);
static_assert(sizeof(KEY_ST) == 1024, "key record layout");
static_assert(offsetof(KEY_ST, mKey) == 512, "key record layout");
static_assert(offsetof(KEY_ST, mValue) == 768, "key record layout");
static_assert(offsetof(INI_ST, mComments) == sizeof(void *), "store layout");
static_assert(sizeof(INI_ST) == sizeof(void *) + 512, "store layout");

struct FileCloser {
    void operator()(FILE *f) const { fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

struct FreeDeleter {
    void operator()(void *p) const { free(p); }
};
using Buffer = std::unique_ptr<char[], FreeDeleter>;

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

bool is_line_end(char c)
{
    return c == '\n' || c == '\r';
}

bool starts_line_comment(const char *p)
{
    return p[0] == '/' && p[1] == '/';
}

// The file's size, or 0 when it cannot be stat-ed (a missing file).
long long file_size(const char *path)
{
    struct stat st;
    return stat(path, &st) == 0 ? static_cast<long long>(st.st_size) : 0;
}

// Copies iSrcLen bytes, or iDestLen - 1 when they would not fit. The source
// bytes hold no NUL and the caller zeroes pcDest beforehand, so the copy
// ends terminated.
void MyStrncpy(char *pcDest, int iDestLen, const char *pcSrc, int iSrcLen)
{
    if (pcDest == nullptr || pcSrc == nullptr || iDestLen < 1 || iSrcLen < 0)
        return;
    memcpy(pcDest, pcSrc, static_cast<size_t>(iDestLen > iSrcLen ? iSrcLen : iDestLen - 1));
}

void copy_text(char *field, int field_size, const char *text)
{
    size_t len = strlen(text);
    MyStrncpy(field, field_size, text, len > INT_MAX ? INT_MAX : static_cast<int>(len));
}

// The whole file in a zeroed heap block of its size + 32 bytes, so the text
// always ends with a NUL; NULL when it is missing, empty or unreadable.
char *GetFileCotent(const char *pcIniFile)
{
    long long size = file_size(pcIniFile);
    if (size <= 0)
        return nullptr;
    File in(fopen(pcIniFile, "r"));
    if (!in) {
        printf(MSG_CANNOT_OPEN_CONFIG, pcIniFile);
        return nullptr;
    }
    // Offsets into the text are ints: a larger file counts as no memory.
    char *content = nullptr;
    if (size <= INT_MAX - 32)
        content = static_cast<char *>(calloc(static_cast<size_t>(size) + 32, 1));
    if (content == nullptr) {
        printf(MSG_NO_MEMORY);
        return nullptr;
    }
    size_t got = fread(content, 1, static_cast<size_t>(size), in.get());
    if (got == 0 && ferror(in.get())) {
        free(content);
        return nullptr;
    }
    return content;
}

// Offset of the first byte that starts a key: blanks, line ends, "#" and
// "//" comments (up to the line end) and lone "/" are passed over. A comment
// running to the end of the text gives the text's length; -1 when the text
// ends among blanks.
int GetFirstKeyLocation(const char *p)
{
    if (p == nullptr)
        return -1;
    int i = 0;
    for (;;) {
        char c = p[i];
        if (c == '\0')
            return -1;
        if (c == '#' || starts_line_comment(p + i)) {
            while (p[i] != '\0' && !is_line_end(p[i]))
                i++;
            if (p[i] == '\0')
                return i;
        } else if (is_blank(c) || is_line_end(c) || c == '/') {
            i++;
        } else {
            return i;
        }
    }
}

// Length of the key at p, which ends at a blank or "=" (not at a line end);
// -1 when the text ends first.
int GetKeyLen(const char *p)
{
    if (p == nullptr)
        return -1;
    int i = 0;
    while (p[i] != '\0' && !is_blank(p[i]) && p[i] != '=')
        i++;
    return p[i] == '\0' ? -1 : i;
}

// The first byte after any blanks and "=" signs; NULL when the text ends.
const char *GetValuePos(const char *p)
{
    while (is_blank(*p) || *p == '=')
        p++;
    return *p == '\0' ? nullptr : p;
}

// 1 when only spaces stand between p and the end of the value (the end of
// the text or line, a TAB or "//"); -1 otherwise.
int IsValueEof(const char *p)
{
    if (p == nullptr)
        return -1;
    while (*p == ' ')
        p++;
    if (*p == '\0' || *p == '\t' || is_line_end(*p) || starts_line_comment(p))
        return 1;
    return -1;
}

// Length of the value at p: inner spaces belong to it, trailing spaces, a
// TAB, a line end and "//" end it; "#" does not.
int GetValueLen(const char *p)
{
    int i = 0;
    for (;;) {
        char c = p[i];
        if (c == '\0' || c == '\t' || is_line_end(c) || starts_line_comment(p + i))
            return i;
        if (c == ' ') {
            if (IsValueEof(p + i) == 1)
                return i;
            while (p[i] == ' ')  // the run of spaces is inside the value
                i++;
        } else {
            i++;
        }
    }
}

void FreeIniSt(LPINI_ST pIni)
{
    if (pIni->mpKeyList != nullptr)
        Objlist_Free(pIni->mpKeyList);
    free(pIni);
}

LPINI_ST new_ini()
{
    auto ini = static_cast<LPINI_ST>(calloc(1, sizeof(INI_ST)));
    if (ini == nullptr)
        return nullptr;
    ini->mpKeyList = Objlist_Allocate(kListCapacity);
    if (ini->mpKeyList == nullptr) {
        FreeIniSt(ini);
        return nullptr;
    }
    return ini;
}

// Appends a copy of the record; a failure loses the record.
void AddKeyStToIni(LPINI_ST pIni, LPKEY_ST pkeySt)
{
    if (pIni != nullptr && pkeySt != nullptr)
        Objlist_Add(pIni->mpKeyList, pkeySt, kRecordSize);
}

// Cuts the text into records. Whatever follows a value on its line becomes
// the front of the next record; a key without "=" or value, or a word
// running to the end of the text, ends the cutting.
LPINI_ST GetIniList(const char *pFileContent)
{
    LPINI_ST ini = new_ini();
    if (ini == nullptr)
        return nullptr;
    const char *pos = pFileContent;
    while (*pos != '\0') {
        int loc = GetFirstKeyLocation(pos);
        if (loc < 0)
            break;  // only blanks and comments are left: dropped
        KEY_ST rec;
        memset(&rec, 0, sizeof rec);
        MyStrncpy(rec.mComments, kCommentsSize, pos, loc);
        pos += loc;
        int key_len = GetKeyLen(pos);
        if (key_len < 0) {
            AddKeyStToIni(ini, &rec);
            break;
        }
        MyStrncpy(rec.mKey, kKeySize, pos, key_len);
        const char *equals = strchr(pos + key_len, '=');
        const char *value = equals == nullptr ? nullptr : GetValuePos(equals + 1);
        if (value == nullptr) {
            AddKeyStToIni(ini, &rec);
            break;
        }
        int value_len = GetValueLen(value);
        MyStrncpy(rec.mValue, kValueSize, value, value_len);
        AddKeyStToIni(ini, &rec);
        pos = value + value_len;
    }
    return ini;
}

LPKEY_ST record_at(LPINI_ST ini, int index)
{
    return static_cast<LPKEY_ST>(Object_Get_Content_Point(ini->mpKeyList, index));
}

// Index of the first record named key, or -1.
int find_key(LPINI_ST ini, const char *key)
{
    int count = Objlist_GetCount(ini->mpKeyList);
    for (int i = 0; i < count; i++) {
        LPKEY_ST rec = record_at(ini, i);
        if (rec != nullptr && strcmp(rec->mKey, key) == 0)
            return i;
    }
    return -1;
}

// Copies at most len - 1 bytes of text into a buffer of len bytes and
// fills the rest of it with NULs.
void copy_bounded(char *dest, int len, const char *text)
{
    if (len < 1)
        return;
    size_t n = strnlen(text, static_cast<size_t>(len - 1));
    memcpy(dest, text, n);
    memset(dest + n, 0, static_cast<size_t>(len) - n);
}

// Shared by the two getters: copies the value of pcKey, or the default,
// into pcValue; a negative len copies without a bound.
int get_value(char *pcValue, int len, const char *pcKey, const char *pcDefaultValue,
              LPINIVALUE pIni)
{
    if (pcValue == nullptr || pcKey == nullptr || pIni == nullptr) {
        printf(MSG_BAD_ARGUMENT "\n");
        return 0;
    }
    auto ini = static_cast<LPINI_ST>(pIni);
    int index = find_key(ini, pcKey);
    const char *text = index >= 0 ? record_at(ini, index)->mValue : pcDefaultValue;
    if (text == nullptr)
        return 1;  // a missing key and no default: pcValue is left alone
    if (len < 0)
        strcpy(pcValue, text);
    else
        copy_bounded(pcValue, len, text);
    return 1;
}

// Shared by the two setters; front is the text a new key is put after.
int set_value(const char *pcValue, const char *pcKey, LPINIVALUE pIni, const char *front)
{
    if (pcValue == nullptr || pcKey == nullptr || pIni == nullptr) {
        printf(MSG_BAD_ARGUMENT "\n");
        return 0;
    }
    auto ini = static_cast<LPINI_ST>(pIni);
    int index = find_key(ini, pcKey);
    if (index >= 0) {
        LPKEY_ST rec = record_at(ini, index);
        memset(rec->mValue, 0, sizeof rec->mValue);
        copy_text(rec->mValue, kValueSize, pcValue);
        return 1;
    }
    KEY_ST rec;
    memset(&rec, 0, sizeof rec);
    copy_text(rec.mComments, kCommentsSize, front);
    copy_text(rec.mKey, kKeySize, pcKey);
    copy_text(rec.mValue, kValueSize, pcValue);
    int count = Objlist_GetCount(ini->mpKeyList);
    return Objlist_Insert(ini->mpKeyList, count, &rec, kRecordSize) == 0 ? 1 : 0;
}

int save(const char *pcFile, LPINIVALUE pIni, const char *pair_format)
{
    if (pcFile == nullptr || pIni == nullptr) {
        printf(MSG_BAD_ARGUMENT "\n");
        return 0;
    }
    File out(fopen(pcFile, "w"));
    if (!out) {
        printf(MSG_CANNOT_OPEN_FILE, pcFile);
        return 0;
    }
    auto ini = static_cast<LPINI_ST>(pIni);
    int count = Objlist_GetCount(ini->mpKeyList);
    for (int i = 0; i < count; i++) {
        LPKEY_ST rec = record_at(ini, i);
        if (rec == nullptr)
            continue;
        if (rec->mKey[0] != '\0')
            fprintf(out.get(), pair_format, rec->mComments, rec->mKey, rec->mValue);
        else
            fprintf(out.get(), "%s", rec->mComments);
    }
    return 1;
}

} // namespace

extern "C" {

LPINIVALUE LoadIni(const char *pcIniFile)
{
    if (pcIniFile == nullptr) {
        printf(MSG_BAD_LOAD_ARGUMENT);
        return nullptr;
    }
    Buffer content(GetFileCotent(pcIniFile));
    return content ? GetIniList(content.get()) : nullptr;
}

void ReleaseIni(LPINIVALUE pIni)
{
    if (pIni == nullptr) {
        printf(MSG_BAD_ARGUMENT);
        return;
    }
    FreeIniSt(static_cast<LPINI_ST>(pIni));
}

int GetValueByKey(char *pcValue, const char *pcKey, const char *pcDefaultValue, LPINIVALUE pIni)
{
    return get_value(pcValue, -1, pcKey, pcDefaultValue, pIni);
}

int GetValueByKeyLen(char *pcValue, int iValueLen, const char *pcKey, const char *pcDefaultValue,
                     LPINIVALUE pIni)
{
    return get_value(pcValue, iValueLen < 0 ? 0 : iValueLen, pcKey, pcDefaultValue, pIni);
}

int SetValueByKey(const char *pcValue, const char *pcKey, LPINIVALUE pIni)
{
    return set_value(pcValue, pcKey, pIni, "\r\n");
}

int SetValueByKeyForSysOp(const char *pcValue, const char *pcKey, LPINIVALUE pIni)
{
    return set_value(pcValue, pcKey, pIni, "\n");
}

LPINIVALUE SetValueByKey_Start(const char *pcValue, const char *pcKey)
{
    if (pcValue == nullptr || pcKey == nullptr) {
        printf(MSG_BAD_ARGUMENT "\n");
        return nullptr;
    }
    LPINI_ST ini = new_ini();
    if (ini == nullptr)
        return nullptr;
    KEY_ST rec;
    memset(&rec, 0, sizeof rec);
    copy_text(rec.mComments, kCommentsSize, "\r\n");
    copy_text(rec.mKey, kKeySize, pcKey);
    copy_text(rec.mValue, kValueSize, pcValue);
    if (Objlist_Add(ini->mpKeyList, &rec, kRecordSize) != 0) {
        FreeIniSt(ini);
        return nullptr;
    }
    return ini;
}

int RmvKeyValue(LPINIVALUE pIni, const char *pcKey)
{
    if (pIni == nullptr || pcKey == nullptr) {
        printf(MSG_BAD_ARGUMENT "\n");
        return 0;
    }
    auto ini = static_cast<LPINI_ST>(pIni);
    int index = find_key(ini, pcKey);
    if (index < 0)
        return 0;
    Objlist_Del(ini->mpKeyList, index);
    return 1;
}

int SaveIni(const char *pcFile, LPINIVALUE pIni)
{
    return save(pcFile, pIni, "%s%s = %s");
}

int SaveIniNoSpace(const char *pcFile, LPINIVALUE pIni)
{
    return save(pcFile, pIni, "%s%s=%s");
}

int ReplaceVaribleValue(char *pchFileName, char *pchKey, char *pchValue, int ReplacedLen)
{
    if (pchFileName == nullptr || pchKey == nullptr || pchValue == nullptr || ReplacedLen < 0)
        return -1;
    long long size = file_size(pchFileName);
    if (size <= 0)
        return -1;
    File in(fopen(pchFileName, "r"));
    if (!in) {
        printf(kReplaceCannotOpen, pchFileName);
        return -1;
    }
    // The quoted value takes ReplacedLen + 2 bytes where the old value was.
    long long out_size = size + ReplacedLen + 3;
    bool fits = out_size <= INT_MAX;
    Buffer text(fits ? static_cast<char *>(malloc(static_cast<size_t>(size) + 1)) : nullptr);
    Buffer out(fits ? static_cast<char *>(malloc(static_cast<size_t>(out_size))) : nullptr);
    Buffer quoted(static_cast<char *>(malloc(static_cast<size_t>(ReplacedLen) + 3)));
    if (!text || !out || !quoted) {
        printf("[ReplaceVaribleValue]-- malloc Failed...    \n");
        return -1;
    }
    snprintf(quoted.get(), static_cast<size_t>(ReplacedLen) + 3, "\"%s\"", pchValue);
    size_t got = fread(text.get(), 1, static_cast<size_t>(size), in.get());
    in.reset();
    text[got] = '\0';
    memcpy(out.get(), text.get(), got + 1);

    const char *key = strstr(text.get(), pchKey);
    if (key == nullptr) {
        printf("[ReplaceVaribleValue]-- strstr pchKey[%s], is Failed... \n", pchKey);
        return -1;
    }
    const char *equals = strchr(key, '=');
    if (equals == nullptr) {
        printf("[ReplaceVaribleValue]-- strstr \"=\" is Failed... \n");
        return -1;
    }
    int start_len = static_cast<int>(equals + 1 - text.get());
    printf("[ReplaceVaribleValue]--  StartLen[%d]\n", start_len);
    memset(out.get() + start_len, 0, static_cast<size_t>(out_size - start_len));
    strncat(out.get(), quoted.get(), static_cast<size_t>(ReplacedLen) + 2);
    const char *line_end = strchr(equals, '\n');
    if (line_end == nullptr) {
        printf("[ReplaceVaribleValue]-- strstr \"\\n\" is Failed... \n");
        return -1;
    }
    // At a fixed offset: a shorter value leaves NULs in front of the rest,
    // and the file written ends after the value.
    strcpy(out.get() + start_len + ReplacedLen + 2, line_end);

    File rewritten(fopen(pchFileName, "w"));
    if (!rewritten)
        return -1;
    fprintf(rewritten.get(), "%s", out.get());
    return 0;
}

} // extern "C"
