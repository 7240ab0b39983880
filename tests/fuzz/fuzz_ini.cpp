// fuzz_ini.cpp - the INI store on any file: load, look up, set, remove, both
// saves and a reload; and the in-file replacement on a copy of the file.
// Keys are taken from the words of the file itself. Output buffers are
// exactly as large as stated.
//
// Checks beyond the sanitizers: a value set is the value read; a bounded
// read is the start of the whole value; a key removed is gone; a new key
// set with a plain name and value survives saving and loading again; the
// replacement writes what its fixed arithmetic says.
#include <unistd.h>

#include <filesystem>

#include "Ini.h"
#include "support.h"

namespace {

// A fresh directory for the files of this process, removed at its exit.
const std::string &dir()
{
    static const std::string *path = [] {
        const char *tmp = getenv("TMPDIR");
        std::string pattern = std::string(tmp != nullptr && tmp[0] != '\0' ? tmp : "/tmp") + "/libbase-fuzz-ini-XXXXXX";
        FUZZ_CHECK(mkdtemp(pattern.data()) != nullptr);
        atexit([] {
            std::error_code ec;
            std::filesystem::remove_all(dir(), ec);
        });
        return new std::string(pattern);  // kept to the very end, for the handler
    }();
    return *path;
}

std::string file(const char *name)
{
    return dir() + "/" + name;
}

// Files are removed before they are written again: rewriting a file in
// place costs a flush to disk on some file systems.
void write_file(const std::string &path, const std::string &bytes)
{
    unlink(path.c_str());
    FILE *f = fopen(path.c_str(), "wb");
    FUZZ_CHECK(f != nullptr);
    FUZZ_CHECK(fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size());
    fclose(f);
}

std::string read_file(const std::string &path)
{
    std::string bytes;
    FILE *f = fopen(path.c_str(), "rb");
    FUZZ_CHECK(f != nullptr);
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, f)) > 0)
        bytes.append(buf, n);
    fclose(f);
    return bytes;
}

// Up to max words of text: runs of bytes other than blanks, line ends and
// "=", cut at 300 bytes.
std::vector<std::string> words(const std::string &text, size_t max)
{
    std::vector<std::string> out;
    size_t at = 0;
    while (out.size() < max && (at = text.find_first_not_of(" \t\r\n=", at)) != std::string::npos) {
        size_t end = std::min(text.find_first_of(" \t\r\n=", at), text.size());
        out.push_back(text.substr(at, std::min<size_t>(end - at, 300)));
        at = end;
    }
    return out;
}

// The value of key, or NULL-free "not found": two defaults tell the cases
// apart.
bool lookup(LPINIVALUE ini, const std::string &key, std::string *value)
{
    std::vector<char> k = c_string(key);
    char a[256] = {}, b[256] = {};
    FUZZ_CHECK(GetValueByKey(a, k.data(), "A", ini) == 1);
    FUZZ_CHECK(GetValueByKey(b, k.data(), "B", ini) == 1);
    FUZZ_CHECK(a[255] == '\0');
    *value = a;
    return strcmp(a, "A") != 0 || strcmp(b, "B") != 0;
}

void check_reads(LPINIVALUE ini, const std::string &key, int room)
{
    std::string whole;
    bool found = lookup(ini, key, &whole);
    std::vector<char> k = c_string(key);
    std::vector<char> out(static_cast<size_t>(room), 'x');
    FUZZ_CHECK(GetValueByKeyLen(out.data(), room, k.data(), "dflt", ini) == 1);
    std::string expected = (found ? whole : std::string("dflt")).substr(0, static_cast<size_t>(room - 1));
    FUZZ_CHECK(strnlen(out.data(), out.size()) == expected.size() && expected == out.data());
    if (!found) {
        char untouched[4] = "xyz";
        FUZZ_CHECK(GetValueByKey(untouched, k.data(), nullptr, ini) == 1 && strcmp(untouched, "xyz") == 0);
    }
}

void check_set(LPINIVALUE ini, const std::string &key, const std::string &value, bool sysop)
{
    std::vector<char> k = c_string(key), v = c_string(value);
    FUZZ_CHECK((sysop ? SetValueByKeyForSysOp : SetValueByKey)(v.data(), k.data(), ini) == 1);
    std::string got;
    if (strlen(k.data()) <= 255)
        FUZZ_CHECK(lookup(ini, key, &got) && got == std::string(v.data()).substr(0, 255));
}

void check_remove(LPINIVALUE ini, const std::string &key)
{
    std::vector<char> k = c_string(key);
    for (int i = 0; i < 10000 && RmvKeyValue(ini, k.data()) == 1; i++) {
    }
    std::string got;
    FUZZ_CHECK(!lookup(ini, key, &got));
}

// Keys the file does not mention, with plain values, survive a save and a
// load.
const std::pair<std::string, std::string> kNewKeys[] = {{"fz_new_key", "v1"}, {"fz_sysop_key", "v 2"}};

void check_reload(const std::string &path, bool fresh_keys)
{
    LPINIVALUE again = LoadIni(path.c_str());
    std::string got;
    for (const auto &kv : kNewKeys)
        FUZZ_CHECK(!fresh_keys || (again != nullptr && lookup(again, kv.first, &got) && got == kv.second));
    if (again != nullptr)
        ReleaseIni(again);
}

// The in-file replacement's result on text: -1, or 0 and the new text.
int replaced(const std::string &text, const std::string &key, const std::string &value, int len, std::string *out)
{
    std::string t = text.substr(0, strlen(text.c_str()));
    size_t at = t.find(key), eq = at == std::string::npos ? at : t.find('=', at);
    size_t lf = eq == std::string::npos ? eq : t.find('\n', eq);
    if (len < 0 || text.empty() || lf == std::string::npos)
        return -1;
    std::string quoted = ("\"" + value + "\"").substr(0, static_cast<size_t>(len) + 2);
    *out = t.substr(0, eq + 1) + quoted;
    if (quoted.size() == static_cast<size_t>(len) + 2)
        *out += t.substr(lf);
    return 0;
}

void check_replace(const std::string &text, const std::string &key, const std::string &value, int len)
{
    std::string path = file("replace.ini"), expected;
    write_file(path, text);
    std::vector<char> p = c_string(path), k = c_string(key), v = c_string(value);
    int r = ReplaceVaribleValue(p.data(), k.data(), v.data(), len);
    int want = replaced(text, k.data(), v.data(), len, &expected);
    FUZZ_CHECK(r == want);
    FUZZ_CHECK(read_file(path) == (r == 0 ? expected : text));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string text(reinterpret_cast<const char *>(data), size);
    std::vector<std::string> keys = words(text, 6);
    keys.push_back("");
    keys.push_back(std::string(300, 'k'));

    std::string value = keys.size() > 2 ? keys[0] : "8080";
    std::string replaced_key = size % 3 == 0 ? "missing " + keys[0] : keys[0];
    check_replace(text, replaced_key, value, static_cast<int>(value.size() + size % 5) - 2);

    LPINIVALUE started = SetValueByKey_Start(value.c_str(), keys[0].c_str());
    std::string got;
    FUZZ_CHECK(started != nullptr);
    FUZZ_CHECK(strlen(keys[0].c_str()) > 255 ||
               (lookup(started, keys[0], &got) && got == std::string(value.c_str()).substr(0, 255)));
    ReleaseIni(started);

    std::string path = file("load.ini");
    write_file(path, text);
    LPINIVALUE ini = LoadIni(path.c_str());
    FUZZ_CHECK((ini == nullptr) == text.empty());
    if (ini == nullptr)
        return 0;
    for (size_t i = 0; i < keys.size(); i++)
        check_reads(ini, keys[i], 1 + static_cast<int>(i * 53 % 300));
    for (size_t i = 0; i < keys.size(); i += 2)
        check_set(ini, keys[i], i % 4 == 0 ? "a value  with spaces" : std::string(300, 'v'), i % 4 == 2);
    if (keys.size() > 3)
        check_remove(ini, keys[3]);
    bool fresh = true;
    for (const auto &kv : kNewKeys) {
        fresh = fresh && text.find(kv.first) == std::string::npos;
        check_set(ini, kv.first, kv.second, &kv != kNewKeys);
    }

    std::string saved = file("saved.ini"), bare = file("bare.ini");
    unlink(saved.c_str());
    unlink(bare.c_str());
    FUZZ_CHECK(SaveIni(saved.c_str(), ini) == 1);
    FUZZ_CHECK(SaveIniNoSpace(bare.c_str(), ini) == 1);
    ReleaseIni(ini);
    check_reload(saved, fresh);
    check_reload(bare, fresh);
    return 0;
}
