#include "xml.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "test_support.h"

using testing_support::Printed;

namespace {

char *S(const char *text) { return const_cast<char *>(text); }

const std::string kDecl = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n";
const std::string kExample = kDecl + "<request id=\"5\" type=\"login\">\r\n\t<user>bob</user>\r\n"
                                     "\t<grp source=\"x\">\r\n\t\t<a>1</a>\r\n\t</grp>\r\n</request>\r\n";
const std::string kHead = "x\r\n<request id=\"1\" type=\"t\">";

pXmldoc Example()
{
    pXmldoc doc = Xml_Allocate(S("request"), 5, S("login"));
    Xml_Add_Str(doc, S("user"), nullptr, S("bob"));
    Xml_Add_Str(Xml_Add_child(doc, S("grp"), S("x")), S("a"), nullptr, S("1"));
    return doc;
}

// The text encode writes for doc; the space left must match it.
std::string Encode(pXmldoc doc, int (*encode)(pXmldoc, char *, int *) = Xml_Encode)
{
    std::vector<char> buf(1 << 16);
    int space = static_cast<int>(buf.size());
    EXPECT_EQ(encode(doc, buf.data(), &space), 1);
    EXPECT_EQ(space, static_cast<int>(buf.size() - strlen(buf.data())));
    return buf.data();
}

// The children of node as "name[source]=content;" for items and "name[source]{...}" for elements.
std::string Shape(pXmldoc node)
{
    std::string out;
    for (void *p = Fifo_Step_Get_First(node->mfifolist); p; p = Fifo_Step_Next(node->mfifolist)) {
        auto c = static_cast<pXmldoc>(p);
        out += c->name + (c->source[0] ? "[" + std::string(c->source) + "]" : "");
        out += c->xtype == 0 ? "=" + std::string(c->content) + ";" : "{" + Shape(c) + "}";
    }
    return out;
}

// view(the document decoded from text), or "NULL" when the text is refused.
std::string Decoded(std::string text, const std::function<std::string(pXmldoc)> &view = Shape)
{
    std::unique_ptr<Xmldoc, void (*)(pXmldoc)> doc(Xml_Decode(text.data()), Xml_Free);
    return doc ? view(doc.get()) : "NULL";
}

std::string Text(std::mt19937 &rng, const std::string &alphabet, unsigned max_len)
{
    std::string s(rng() % (max_len + 1), ' ');
    for (char &c : s)
        c = alphabet[rng() % alphabet.size()];
    return s;
}

// Random children: no "<" in any text, names carrying the depth (so none nests its own name).
void AddRandomChildren(std::mt19937 &rng, pXmldoc node, unsigned depth)
{
    for (int i = rng() % 4; i >= 0; i--) {
        std::string name = "n" + std::to_string(depth * 10 + rng() % 3), source = Text(rng, "ab =/&'", 6);
        if (depth < 4 && rng() % 3 == 0)
            AddRandomChildren(rng, Xml_Add_child(node, S(name.c_str()), S(source.c_str())), depth + 1);
        else
            Xml_Add_Str(node, S(name.c_str()), S(source.c_str()), S(Text(rng, "ab >&\"'\t\r\n\xD6\xD0", 30).c_str()));
    }
}

} // namespace

TEST(Xml, LookupsChangesAndHead)
{
    pXmldoc doc = Example();
    Xml_Add_Str(doc, S("user"), S("s2"), S("amy"));
    pXmldoc y = Xml_Add_child(doc, S("grp"), S("y"));
    char src[8], name[128], type[128], small[4] = "ooo";
    EXPECT_STREQ(Xml_Get_Str(doc, S("user"), S("s2")), "amy");
    EXPECT_STREQ(Xml_Get_Str_By_Index(doc, S("user"), 1), "amy");
    EXPECT_EQ(Xml_Get_Str_By_Index(doc, S("user"), -1), nullptr);
    EXPECT_STREQ(Xml_Get_Str_Source_By_Index(doc, S("user"), 1, src, 3), "amy");
    EXPECT_STREQ(src, "s2");
    EXPECT_EQ(Xml_Get_Child(doc, S("user"), nullptr)->xtype, 0);  // any kind matches
    EXPECT_EQ(Xml_Get_Child_By_Index(doc, S("grp"), S("y"), 0), y);
    EXPECT_EQ(Xml_Get_Child_Source_By_Index(doc, S("grp"), 1, src, 8), y);
    EXPECT_STREQ(src, "y");
    // Items by name; child elements (never items) by name, and by name and source (none without one).
    EXPECT_EQ(Xml_Get_Count(doc, S("user")), 2);
    EXPECT_EQ(Xml_Get_Child_Count_No_Source(doc, S("user")), 0);
    EXPECT_EQ(Xml_Get_Child_Count_No_Source(doc, S("grp")), 2);
    EXPECT_EQ(Xml_Get_Child_Count(doc, S("grp"), S("y")), 1);
    EXPECT_EQ(Xml_Get_Child_Count(doc, S("grp"), nullptr), -1);

    // Set, set with no match, read back, delete the first whatever its source, add integers.
    int v = 0;
    EXPECT_EQ(Xml_Set_Str(doc, S("user"), S("s2"), S("-1")), 0);
    EXPECT_EQ(Xml_Set_Str(doc, S("user"), S("s3"), S("3")), -1);
    EXPECT_EQ(Xml_Get_Int_Str_Ex(doc, S("user"), S("s2"), &v), 0);
    EXPECT_EQ(v, -1);
    EXPECT_EQ(Xml_Del_Str(doc, S("user"), nullptr), 0);
    EXPECT_EQ(Xml_Add_Int_Str(doc, S("n"), nullptr, -2147483647 - 1), 0);
    EXPECT_EQ(Xml_Add_Int_Str_Ex(doc, S("m"), S("s"), 42), 0);
    EXPECT_EQ(Shape(doc), "grp[x]{a=1;}user[s2]=-1;grp[y]{}n=-2147483648;m[s]=42;");

    // The head: setters give 0, getters 1; a refused type still stores the id, -1 keeps it.
    EXPECT_EQ(Xml_Set_Head(doc, S(""), 7), -1);
    EXPECT_EQ(Xml_Get_Req_Id(doc), 7);
    EXPECT_EQ(Xml_Set_Head(doc, S("zz"), 9), 0);
    EXPECT_EQ(Xml_Set_All_Head(doc, S("response"), S("ty"), -1), 0);
    EXPECT_EQ(Xml_Set_All_Head(doc, nullptr, nullptr, -1), 0);
    EXPECT_EQ(Xml_Get_Head(doc, name, &v, type), 1);
    EXPECT_STREQ(name, "response");
    EXPECT_STREQ(type, "ty");
    EXPECT_EQ(v, 9);
    EXPECT_EQ(Xml_Get_Head_Len(doc, small, 2, &v, type, 128), 1);
    EXPECT_STREQ(small, "reo");
    EXPECT_EQ(Xml_Get_Head(y, name, &v, type), -1);  // not a root

    // Texts are cut at 1023 bytes, names and sources at 127.
    std::string text(1500, 'c'), long_name(200, 'n');
    pXmldoc item = Xml_Add_Str(doc, S(long_name.c_str()), S(long_name.c_str()), S(text.c_str()));
    EXPECT_EQ(item->content, text.substr(0, 1023));
    EXPECT_EQ(item->name, std::string(127, 'n'));
    EXPECT_EQ(item->source, std::string(127, 'n'));
    EXPECT_EQ(Xml_Set_Str(doc, item->name, nullptr, S(text.c_str())), 0);
    EXPECT_EQ(strlen(item->content), 1023u);
    Xml_Free(doc);
}

TEST(Xml, Refusals)
{
    const std::string absent = "\xB2\xBB\xB4\xE6\xD4\xDA\n", no_value = "\xD7\xD6\xB6\xCE\xC4\xDA\xC8\xDD" + absent;
    const std::string empty = "XML\xCE\xAA\xBF\xD5", no_print = empty + "\xA3\xAC\xCE\xDE\xB7\xA8\xB4\xF2\xD3\xA1\n";
    pXmldoc doc = Example();
    char buf[256];
    int v = 0, space = sizeof buf;
    const std::vector<std::pair<std::function<bool()>, std::string>> cases = {
        {[&] { return Xml_Add_Int_Str_Ex(doc, S("n"), nullptr, 1) == -1; }, "The input is error!\n"},  // no NULL source
        {[&] { return Xml_Get_Int_Str_Ex(doc, S("user"), nullptr, &v) == -1; }, "The input is error!\n"},
        {[&] { return Xml_Get_Int_Str(doc, nullptr, nullptr) == -1; }, "The input is error!\n"},
        {[&] { return Xml_Get_Int_Str(doc, S("zz"), nullptr) == -1; }, "can not get zz from xml!!\n"},
        {[&] { return !Xml_Add_child(doc, nullptr, nullptr); }, ""},
        {[&] { return !Xml_Add_child(doc, S(""), nullptr); },
         "\xD4\xF6\xBC\xD3XML\xCA\xB1\xA3\xACname"
         "\xD7\xD6\xB6\xCE\xCE\xAA\xBF\xD5\xA3\xAC\xB4\xB4\xBD\xA8\xCA\xA7\xB0\xDC\n"},
        {[&] { return !Xml_Copy(Xml_Get_Child(doc, S("grp"), nullptr)); }, ""},
        {[] { return !Xml_Get_Child(nullptr, S("a"), nullptr); },
         empty + "\xB2\xBB\xC4\xDC\xBB\xF1\xC8\xA1\xD7\xD3\xBD\xDA\xB5\xE3\n"},
        {[&] { return Xml_Get_Head(nullptr, buf, &v, buf) == -1; },
         empty + "\xA3\xAC\xCE\xDE\xB7\xA8\xBB\xF1\xC8\xA1\xCD\xB7\xC4\xDA\xC8\xDD\n"},
        {[] { return Xml_Free(nullptr), true; }, empty + "\xA3\xAC\xCE\xDE\xB7\xA8\xCA\xCD\xB7\xC5\n"},
        {[] { return Xml_Printf(nullptr), true; }, no_print},
        {[&] { return Xml_Sprintf_Buf(nullptr, buf, &space), buf == no_print; }, ""},
        {[&] { return space = 0, Xml_Encode(doc, buf, &space) == -1; }, ""},
        {[&] { return space = 64, Xml_Encode_Encoding(doc, S(""), buf, &space) == -1; }, ""},
        {[] { return !Xml_Decode(nullptr); }, "Xml r n " + absent},
        {[] { return Decoded("<request id=\"5\" type=\"login\"></request>") == "NULL"; }, "Xml r n " + absent},
        {[] { return Decoded("x\r\nrequest id=\"5\" type=\"login\"") == "NULL"; }, "Xml < > " + absent},
        {[] { return Decoded("x\r\n<reply id=\"5\" type=\"login\">") == "NULL"; }, "response request " + absent},
        {[] { return Decoded("x\r\n<request>") == "NULL"; }, "id " + absent},
        {[] { return Decoded("x\r\n<request id=5 type=login>") == "NULL"; }, "id " + no_value},
        {[] { return Decoded("x\r\n<request id=\"5\">") == "NULL"; }, "type " + absent},
        {[] { return Decoded("x\r\n<request type=\"login\" id=\"5\">") == "NULL"; }, "type " + no_value},  // id first
    };
    for (size_t i = 0; i < cases.size(); i++)  // each prints exactly its message; "accepted" if not refused
        EXPECT_EQ(Printed([&] { printf("%s", cases[i].first() ? "" : "accepted\n"); }), cases[i].second) << i;
    Xml_Free(doc);
}

TEST(Xml, DecodeReadsTheDialect)
{
    const std::vector<std::pair<std::string, std::string>> bodies = {
        {"", "/request=;"},                                   // the closing root tag read as an element
        {"<a>1</a></request><b>2</b>", "a=1;"},             // cut at the first closing root tag
        {"\r\n\t<p>&lt;1&gt;</p>\r\n", "p=&lt;1&gt;;"},       // no entity decoding
        {"<a source=\"x\"></a>junk<b>2</b>more", "a[x]=;b=2;"},  // text between elements skipped
        {"<g k=\"v\" source=\"w\"><a>1</a><h><b>2</b></h></g>", "g[v]{a=1;h{b=2;}}"},  // first quoted value
        {"<x>1</x><a/><b>2</b>", "x=1;a/{b=2;}"},             // a self-closing tag swallows the rest
        {"<a><a>1</a>2</a>", "a{a=1;}/a=;"},                 // cut at the inner closing tag
        {"<b>1</b><><c>2</c>", "b=1;"},                      // a nameless tag ends the run
        {"<a>1", "a=1;"},                                    // no closing tag: the rest is the content
    };
    for (const auto &[body, shape] : bodies)
        EXPECT_EQ(Decoded(kHead + body + "</request>"), shape) << body;
    std::string deep;  // 64 levels kept, the rest is one item's text
    for (int i = 0; i < 2000; i++)
        deep += "<e" + std::to_string(i) + ">";
    std::string shape = Decoded(kHead + deep);
    EXPECT_EQ(std::count(shape.begin(), shape.end(), '{'), 64);
}

TEST(Xml, EncodeTheWorkedExample)
{
    pXmldoc doc = Example(), copy = Xml_Copy(doc);
    EXPECT_EQ(Encode(doc), kExample);
    EXPECT_EQ(Encode(copy), kExample);
    Xml_Free(copy);
    EXPECT_EQ(Printed([&] { Xml_Printf_Msg(doc); }), "xml :" + kExample + "\n");
    EXPECT_EQ(Encode(doc, [](pXmldoc d, char *out, int *n) { return Xml_Encode_Encoding(d, S("GB2312"), out, n); }),
              "<?xml version=\"1.0\" encoding=\"GB2312\"?>\r\n" + kExample.substr(kDecl.size()));
    std::string buf(64, 'z');
    int space = 20;  // cut and terminated, nothing beyond the buffer
    EXPECT_EQ(Xml_Encode(doc, buf.data(), &space), 1);
    EXPECT_EQ(space, 0);
    EXPECT_EQ(buf, kExample.substr(0, 19) + '\0' + std::string(44, 'z'));
    // A leaf holding "<" is written as it is and does not come back the same.
    Xml_Set_Str(doc, S("user"), nullptr, S("a<b"));
    EXPECT_EQ(Decoded(Encode(doc)), "user{}grp[x]{a=1;}");
    Xml_Free(doc);
}

TEST(Xml, Utf8ConversionFromGb2312)
{
    char zh[] = "\xD6\xD0\xCE\xC4", out[16] = {};
    EXPECT_EQ(UTF8Encoding(zh, out, 4, sizeof out), 6);
    EXPECT_STREQ(out, "\xE4\xB8\xAD\xE6\x96\x87");
    EXPECT_EQ(UTF8Encoding(nullptr, out, 4, 16), -1);

    pXmldoc doc = Xml_Allocate(S("request"), 1, S("\xD6\xD0"));
    Xml_Add_Str(doc, S("zh"), nullptr, zh);
    Xml_Add_Str(doc, S("bad"), nullptr, S("\xFF\xFF"));
    Xml_Add_Str(doc, S("none"), nullptr, nullptr);
    EXPECT_EQ(Encode(doc, Xml_Encode_UTF8), kDecl + "<request id=\"1\" type=\"\xD6\xD0\">\r\n\t<zh>\xE4\xB8\xAD"
                                                     "\xE6\x96\x87</zh>\r\n\t<bad>\xFF\xFF</bad>\r\n\t<none></none>"
                                                     "\r\n</request>\r\n");
    std::string wide(1020, '\xA1');  // 510 wide blanks, 1530 bytes in UTF-8: written unconverted
    Xml_Set_Str(doc, S("zh"), nullptr, S(wide.c_str()));
    EXPECT_NE(Encode(doc, Xml_Encode_UTF8).find("<zh>" + wide + "</zh>"), std::string::npos);
    Xml_Free(doc);
}

// Released nodes are kept for the next ones: nothing of their old texts may
// show behind the new ones, and a thread's kept nodes go when it ends.
TEST(Xml, ReusedNodesAreZeroFilled)
{
    std::string long_text(1500, 'q');
    for (int round = 0; round < 2; round++) {
        pXmldoc old = Xml_Allocate(S("response"), 9, S(long_text.c_str()));
        for (int i = 0; i < 40; i++)
            Xml_Add_Str(Xml_Add_child(old, S(long_text.c_str()), S(long_text.c_str())), S(long_text.c_str()),
                        S(long_text.c_str()), S(long_text.c_str()));
        Xml_Free(old);
        pXmldoc doc = Example();
        pXmldoc user = Xml_Get_Child(doc, S("user"), nullptr), grp = Xml_Get_Child(doc, S("grp"), nullptr);
        for (pXmldoc node : {doc, user, grp, Xml_Get_Child(grp, S("a"), nullptr)}) {
            Xmldoc expect;
            memset(&expect, 0, sizeof expect);
            expect.xtype = node->xtype;
            expect.requst_id = node->requst_id;
            strcpy(expect.type, node->type);
            strcpy(expect.name, node->name);
            strcpy(expect.source, node->source);
            strcpy(expect.content, node->content);
            expect.mfifolist = node->mfifolist;
            EXPECT_EQ(memcmp(node, &expect, sizeof expect), 0) << node->name;
        }
        Xml_Free(doc);
        if (round == 0)
            std::thread([] { Xml_Free(Example()); }).join();
    }
}

TEST(Xml, PrintCapsTheIndentation)
{
    pXmldoc doc = Xml_Allocate(S("request"), 3, S("t")), node = doc;
    Xml_Add_Str(doc, S("leaf"), nullptr, S("v"));
    std::string printed = "xml:\n node type = [ 1 ] id = [ 3 ] name = [ request ] src = [  ] type = [ t ]\n"
                          "\tnode type = [ 0 ] id = [ 0 ] name = [ leaf ] src = [  ] con=[ v ]\n";
    for (int level = 1; level <= 7; level++) {
        std::string tabs(level <= 5 ? level : 0, '\t'), name = "c" + std::to_string(level);
        node = Xml_Add_child(node, S(name.c_str()), S("s"));
        printed += tabs + "node type = [ 2 ] id = [ 0 ] name = [ " + name + " ] src = [ s ] con=[  ]\n";
    }
    EXPECT_EQ(Printed([&] { Xml_Printf(doc); }), printed);
    Xml_Free(doc);
}

// Random documents come back unchanged from their text; mutated texts give a tree or NULL, never a fault.
TEST(Xml, RandomDocumentsAndMutations)
{
    std::mt19937 rng(1234);
    const std::string noise = "<>/\"= \r\nabid";
    int trees = 0;
    for (int i = 0; i < 3000; i++) {
        pXmldoc doc = Xml_Allocate(S(rng() % 2 ? "request" : "response"), static_cast<int>(rng()),
                                   S(Text(rng, "abc xyz_-.", 12).c_str()));
        AddRandomChildren(rng, doc, 1);
        std::string text = Encode(doc);
        Xml_Free(doc);
        EXPECT_EQ(Decoded(text, [](pXmldoc doc) { return Encode(doc); }), text);
        for (int m = 1 + rng() % 6; m > 0 && !text.empty(); m--) {
            size_t at = rng() % text.size();
            switch (rng() % 4) {
            case 0: text.erase(at, rng() % 40); break;
            case 1: text.insert(at, text.substr(rng() % text.size(), 30)); break;
            default: text[at] = rng() % 2 ? noise[rng() % noise.size()] : static_cast<char>(1 + rng() % 255); break;
            }
        }
        testing_support::StdoutCapture quiet;
        trees += Decoded(text, [](pXmldoc doc) { return Encode(doc, Xml_Encode_UTF8); }) != "NULL";
    }
    EXPECT_GT(trees, 1000);
}
