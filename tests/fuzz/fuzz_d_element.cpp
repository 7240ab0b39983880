// fuzz_d_element.cpp - the linked element streams under any sequence of
// adds and reads: any tag, length (negative ones included), index and
// output room. Values and output buffers are exactly as large as stated.
// Every result is checked against a plain list of what was added.
#include <algorithm>
#include <deque>

#include "d_element.h"
#include "support.h"

namespace {

struct Element {
    int tag;
    std::string value;
};

// Occurrence index of tag in model (newest first), or NULL.
const Element *find(const std::deque<Element> &model, int tag, int index)
{
    for (const Element &e : model)
        if (e.tag == tag && index-- == 0)
            return &e;
    return nullptr;
}

void check_get(ELEMENT_STREAM s, const std::deque<Element> &model, int tag, int index, int room)
{
    const Element *e = index >= 0 ? find(model, tag, index) : nullptr;
    bool fits = e != nullptr && static_cast<int>(e->value.size()) <= room;
    std::vector<char> out(static_cast<size_t>(std::max(room, 1)), 'z');
    int len = -7;
    int r = index == 0 ? d_element_get_et(s, tag, out.data(), room, &len)
                       : d_element_get_et_by_index(s, tag, index, room, out.data(), &len);
    FUZZ_CHECK(r == (fits ? 0 : -1));
    if (fits)
        FUZZ_CHECK(len == static_cast<int>(e->value.size()) && memcmp(out.data(), e->value.data(), e->value.size()) == 0);
    else
        FUZZ_CHECK(len == -7 && out[0] == 'z');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input in(data, size);
    ELEMENT_STREAM s = d_element_allocate_element_stream();
    FUZZ_CHECK(s != nullptr);
    std::deque<Element> model;
    while (in.left() > 0) {
        int op = static_cast<int>(in.u8() % 6);
        int tag = static_cast<int>(in.u8() % 5) - 1;  // few tags, so that they repeat
        if (op == 0) {
            // Lengths from -128 to 2071; the value holds as many bytes as are left.
            int length = static_cast<int>(in.u16() % 2200) - 128;
            std::string value = in.bytes(static_cast<size_t>(std::max(length, 0)));
            length = length < 0 ? length : static_cast<int>(value.size());
            std::vector<char> buf(value.begin(), value.end());
            char none = 0;
            int r = d_element_add_et(s, tag, buf.empty() ? &none : buf.data(), length);
            FUZZ_CHECK(r == (length < 0 ? -1 : 0));
            if (r == 0)
                model.push_front({tag, value});
        } else if (op == 1 || op == 2) {
            int room = static_cast<int>(in.u16() % 2200) - 100;
            int index = op == 1 ? 0 : static_cast<int>(in.u8() % 12) - 2;
            check_get(s, model, tag, index, room);
        } else if (op == 3) {
            int len = -7;
            const Element *e = find(model, tag, 0);
            void *p = d_element_get_et_point(s, tag, &len);
            FUZZ_CHECK((p != nullptr) == (e != nullptr));
            if (e != nullptr)
                FUZZ_CHECK(len == static_cast<int>(e->value.size()) && memcmp(p, e->value.data(), e->value.size()) == 0);
        } else if (op == 4) {
            FUZZ_CHECK(d_element_get_et_count(s, tag) ==
                       std::count_if(model.begin(), model.end(), [&](const Element &e) { return e.tag == tag; }));
        } else {
            int len;
            char buf[4];
            FUZZ_CHECK(d_element_add_et(nullptr, tag, buf, 1) == -1 && d_element_add_et(s, tag, nullptr, 1) == -1);
            FUZZ_CHECK(d_element_get_et(nullptr, tag, buf, 4, &len) == -1 && d_element_get_et(s, tag, nullptr, 4, &len) == -1);
            FUZZ_CHECK(d_element_get_et(s, tag, buf, 4, nullptr) == -1 && d_element_get_et_point(s, tag, nullptr) == nullptr);
            FUZZ_CHECK(d_element_get_et_count(nullptr, tag) == 0);
        }
    }
    d_element_free_element_stream(s);
    return 0;
}
