// Decode and encode of message documents, each next to pugixml doing the
// same work on the same text: saving an equal tree to memory, tab-indented,
// and parsing the text in place and walking every node.
#include <benchmark/benchmark.h>

#include <pugixml.hpp>

#include <cstring>
#include <string>
#include <vector>

#include "xml.h"

namespace {

char *S(const char *text)
{
    return const_cast<char *>(text);
}

// About 1 KB of text: a request with its id and type, a dozen items and two
// nested elements.
pXmldoc TypicalRequest()
{
    pXmldoc doc = Xml_Allocate(S("request"), 1042, S("call_setup"));
    Xml_Add_Str(doc, S("user"), nullptr, S("operator07"));
    Xml_Add_Str(doc, S("password"), nullptr, S("0123456789abcdef"));
    Xml_Add_Str(doc, S("caller"), S("e164"), S("861085551234"));
    Xml_Add_Str(doc, S("callee"), S("e164"), S("861085559876"));
    Xml_Add_Str(doc, S("codec"), nullptr, S("G.711A"));
    Xml_Add_Str(doc, S("ptime"), S("ms"), S("20"));
    Xml_Add_Str(doc, S("label"), nullptr, S("front desk extension, ground floor, east wing"));
    Xml_Add_Str(doc, S("note"), nullptr, S("forward to voice mail after thirty seconds without answer"));
    for (int g = 0; g < 2; g++) {
        pXmldoc grp = Xml_Add_child(doc, S("line"), S(std::to_string(g).c_str()));
        Xml_Add_Str(grp, S("state"), S("current"), S("idle"));
        Xml_Add_Str(grp, S("gain"), S("dB"), S("-3"));
        pXmldoc route = Xml_Add_child(grp, S("route"), nullptr);
        Xml_Add_Str(route, S("trunk"), nullptr, S("trunk-group-04/e1-span-2"));
        Xml_Add_Str(route, S("prefix"), nullptr, S("0086"));
    }
    return doc;
}

// A response of n leaf items.
pXmldoc WideDocument(int children)
{
    pXmldoc doc = Xml_Allocate(S("response"), 7, S("list"));
    for (int i = 0; i < children; i++)
        Xml_Add_Str(doc, S("item"), nullptr, S(std::to_string(i).c_str()));
    return doc;
}

std::string EncodeToString(pXmldoc doc)
{
    std::vector<char> buf(1 << 22);
    int space = static_cast<int>(buf.size());
    Xml_Encode(doc, buf.data(), &space);
    return buf.data();
}

// The same tree in pugixml's model: the source as an attribute, the
// content as text.
void CopyToPugi(pXmldoc node, pugi::xml_node into)
{
    for (void *p = Fifo_Step_Get_First(node->mfifolist); p != nullptr; p = Fifo_Step_Next(node->mfifolist)) {
        auto child = static_cast<pXmldoc>(p);
        pugi::xml_node copy = into.append_child(child->name);
        if (child->source[0] != '\0')
            copy.append_attribute("source") = child->source;
        if (child->xtype == 0)
            copy.text() = child->content;
        else
            CopyToPugi(child, copy);
    }
}

void ToPugi(pXmldoc doc, pugi::xml_document &out)
{
    pugi::xml_node root = out.append_child(doc->name);
    root.append_attribute("id") = doc->requst_id;
    root.append_attribute("type") = doc->type;
    CopyToPugi(doc, root);
}

// Writes into a buffer of fixed size, as the encoder does.
struct BufferWriter : pugi::xml_writer {
    explicit BufferWriter(std::vector<char> &out) : buf(out) {}
    void write(const void *data, size_t size) override
    {
        if (size > buf.size() - used)
            size = buf.size() - used;
        memcpy(buf.data() + used, data, size);
        used += size;
    }
    std::vector<char> &buf;
    size_t used = 0;
};

void Encode(benchmark::State &state, pXmldoc doc)
{
    std::vector<char> buf(1 << 22);
    size_t bytes = EncodeToString(doc).size();
    for (auto _ : state) {
        int space = static_cast<int>(buf.size());
        Xml_Encode(doc, buf.data(), &space);
        benchmark::DoNotOptimize(buf.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    Xml_Free(doc);
}

void PugiSave(benchmark::State &state, pXmldoc doc)
{
    pugi::xml_document pdoc;
    ToPugi(doc, pdoc);
    Xml_Free(doc);
    std::vector<char> buf(1 << 22);
    for (auto _ : state) {
        BufferWriter writer(buf);
        pdoc.save(writer, "\t", pugi::format_default, pugi::encoding_utf8);
        benchmark::DoNotOptimize(buf.data());
    }
}

// Visits every node below node, as an application reading a request does.
size_t Walk(pXmldoc node)
{
    size_t seen = 0;
    for (void *p = Fifo_Step_Get_First(node->mfifolist); p != nullptr; p = Fifo_Step_Next(node->mfifolist)) {
        auto child = static_cast<pXmldoc>(p);
        seen += static_cast<unsigned char>(child->name[0]) + static_cast<unsigned char>(child->content[0]);
        if (child->xtype == 2)
            seen += Walk(child);
    }
    return seen;
}

size_t WalkPugi(pugi::xml_node node)
{
    size_t seen = 0;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        seen += static_cast<unsigned char>(child.name()[0]) + static_cast<unsigned char>(child.value()[0]) +
                WalkPugi(child);
    return seen;
}

void Decode(benchmark::State &state, pXmldoc doc)
{
    std::string text = EncodeToString(doc);
    Xml_Free(doc);
    std::vector<char> buf(text.size() + 1);
    for (auto _ : state) {
        memcpy(buf.data(), text.c_str(), buf.size());
        pXmldoc back = Xml_Decode(buf.data());
        benchmark::DoNotOptimize(Walk(back));
        Xml_Free(back);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void PugiParse(benchmark::State &state, pXmldoc doc)
{
    std::string text = EncodeToString(doc);
    Xml_Free(doc);
    std::vector<char> buf(text.size() + 1);
    for (auto _ : state) {
        memcpy(buf.data(), text.c_str(), buf.size());
        pugi::xml_document pdoc;
        pdoc.load_buffer_inplace(buf.data(), text.size());
        benchmark::DoNotOptimize(WalkPugi(pdoc));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_EncodeTypical(benchmark::State &state) { Encode(state, TypicalRequest()); }
void BM_DecodeTypical(benchmark::State &state) { Decode(state, TypicalRequest()); }
void BM_PugiParseTypical(benchmark::State &state) { PugiParse(state, TypicalRequest()); }

void BM_EncodeWide(benchmark::State &state)
{
    Encode(state, WideDocument(static_cast<int>(state.range(0))));
    state.SetComplexityN(state.range(0));
}

void BM_PugiSaveWide(benchmark::State &state)
{
    PugiSave(state, WideDocument(static_cast<int>(state.range(0))));
}

void BM_DecodeWide(benchmark::State &state)
{
    Decode(state, WideDocument(static_cast<int>(state.range(0))));
    state.SetComplexityN(state.range(0));
}

} // namespace

BENCHMARK(BM_EncodeTypical);
BENCHMARK(BM_DecodeTypical);
BENCHMARK(BM_PugiParseTypical);
// 1x, 4x and 16x: the time per child stays flat.
BENCHMARK(BM_EncodeWide)->Arg(250)->Arg(1000)->Arg(4000)->Complexity(benchmark::oN);
BENCHMARK(BM_PugiSaveWide)->Arg(250)->Arg(1000)->Arg(4000);
BENCHMARK(BM_DecodeWide)->Arg(250)->Arg(1000)->Arg(4000)->Complexity(benchmark::oN);
