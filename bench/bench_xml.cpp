// Decode and encode of a typical request document and of a wide one.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "xml.h"

namespace {

char *S(const char *text)
{
    return const_cast<char *>(text);
}

// About 1 KB of text: a login-style request with a few groups of items.
pXmldoc TypicalRequest()
{
    pXmldoc doc = Xml_Allocate(S("request"), 1042, S("call_setup"));
    Xml_Add_Str(doc, S("user"), nullptr, S("operator07"));
    Xml_Add_Str(doc, S("password"), nullptr, S("0123456789abcdef"));
    for (int g = 0; g < 4; g++) {
        pXmldoc grp = Xml_Add_child(doc, S("line"), S(std::to_string(g).c_str()));
        Xml_Add_Str(grp, S("number"), nullptr, S("861085551234"));
        Xml_Add_Str(grp, S("state"), S("current"), S("idle"));
        Xml_Add_Str(grp, S("codec"), nullptr, S("G.711A"));
        Xml_Add_Str(grp, S("gain"), S("dB"), S("-3"));
        Xml_Add_Str(grp, S("label"), nullptr, S("front desk extension, ground floor"));
    }
    return doc;
}

pXmldoc WideDocument(int children)
{
    pXmldoc doc = Xml_Allocate(S("response"), 7, S("list"));
    for (int i = 0; i < children; i++)
        Xml_Add_Str(doc, S("item"), nullptr, S(std::to_string(i).c_str()));
    return doc;
}

std::string EncodeToString(pXmldoc doc)
{
    std::vector<char> buf(1 << 20);
    int space = static_cast<int>(buf.size());
    Xml_Encode(doc, buf.data(), &space);
    return buf.data();
}

void Encode(benchmark::State &state, pXmldoc doc)
{
    std::vector<char> buf(1 << 20);
    size_t bytes = EncodeToString(doc).size();
    for (auto _ : state) {
        int space = static_cast<int>(buf.size());
        Xml_Encode(doc, buf.data(), &space);
        benchmark::DoNotOptimize(buf.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    Xml_Free(doc);
}

void Decode(benchmark::State &state, pXmldoc doc)
{
    std::string text = EncodeToString(doc);
    Xml_Free(doc);
    std::vector<char> buf(text.size() + 1);
    for (auto _ : state) {
        std::copy(text.begin(), text.end(), buf.begin());
        buf.back() = '\0';
        pXmldoc back = Xml_Decode(buf.data());
        benchmark::DoNotOptimize(back);
        Xml_Free(back);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_EncodeTypical(benchmark::State &state) { Encode(state, TypicalRequest()); }
void BM_DecodeTypical(benchmark::State &state) { Decode(state, TypicalRequest()); }
void BM_EncodeWide(benchmark::State &state)
{
    Encode(state, WideDocument(static_cast<int>(state.range(0))));
    state.SetComplexityN(state.range(0));
}

void BM_DecodeWide(benchmark::State &state)
{
    Decode(state, WideDocument(static_cast<int>(state.range(0))));
    state.SetComplexityN(state.range(0));
}

} // namespace

BENCHMARK(BM_EncodeTypical);
BENCHMARK(BM_DecodeTypical);
BENCHMARK(BM_EncodeWide)->Arg(1000)->Arg(4000)->Arg(16000)->Arg(64000)->Complexity(benchmark::oN);
BENCHMARK(BM_DecodeWide)->Arg(1000)->Arg(4000)->Arg(16000)->Arg(64000)->Complexity(benchmark::oN);
