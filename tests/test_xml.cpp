#include "xml.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "test_support.h"

using testing_support::Printed;

namespace {

char *S(const char *text)
{
    return const_cast<char *>(text);
}

const std::string kDecl = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n";
const std::string kExample = kDecl +
                             "<request id=\"5\" type=\"login\">\r\n"
                             "\t<user>bob</user>\r\n"
                             "\t<grp source=\"x\">\r\n"
                             "\t\t<a>1</a>\r\n"
                             "\t</grp>\r\n"
                             "</request>\r\n";

pXmldoc Example()
{
    pXmldoc doc = Xml_Allocate(S("request"), 5, S("login"));
    Xml_Add_Str(doc, S("user"), nullptr, S("bob"));
    Xml_Add_Str(Xml_Add_child(doc, S("grp"), S("x")), S("a"), nullptr, S("1"));
    return doc;
}

std::string Encode(pXmldoc doc, int (*encode)(pXmldoc, char *, int *) = Xml_Encode)
{
    std::vector<char> buf(1 << 16);
    int space = static_cast<int>(buf.size());
    EXPECT_EQ(encode(doc, buf.data(), &space), 1);
    EXPECT_EQ(space, static_cast<int>(buf.size() - strlen(buf.data())));
    return buf.data();
}

pXmldoc Decode(const std::string &text)
{
    std::vector<char> buf(text.begin(), text.end());
    buf.push_back('\0');
    return Xml_Decode(buf.data());
}

// A document "x\r\n<request id="1" type="t">BODY</request>".
pXmldoc DecodeBody(const std::string &body)
{
    return Decode("x\r\n<request id=\"1\" type=\"t\">" + body + "</request>");
}

// The children of node as "name=content" for items and "name{...}" for elements.
std::string Shape(pXmldoc node)
{
    std::string out;
    for (void *p = Fifo_Step_Get_First(node->mfifolist); p; p = Fifo_Step_Next(node->mfifolist)) {
        auto c = static_cast<pXmldoc>(p);
        out += c->xtype == 0 ? std::string(c->name) + "=" + c->content + ";"
                             : std::string(c->name) + "{" + Shape(c) + "}";
    }
    return out;
}

} // namespace

TEST(Xml, LookupsByNameSourceAndIndex)
{
    pXmldoc doc = Example();
    Xml_Add_Str(doc, S("user"), S("s2"), S("amy"));
    Xml_Add_child(doc, S("grp"), S("y"));
    EXPECT_STREQ(Xml_Get_Str(doc, S("user"), nullptr), "bob");
    EXPECT_STREQ(Xml_Get_Str(doc, S("user"), S("s2")), "amy");
    EXPECT_STREQ(Xml_Get_Str_By_Index(doc, S("user"), 1), "amy");
    EXPECT_EQ(Xml_Get_Str_By_Index(doc, S("user"), -1), nullptr);
    char src[8] = "zzzzzzz";
    EXPECT_STREQ(Xml_Get_Str_Source_By_Index(doc, S("user"), 1, src, 3), "amy");
    EXPECT_EQ(std::string(src), "s2\0zzzz");  // strncpy pads to len
    EXPECT_EQ(Xml_Get_Count(doc, S("user")), 2);
    // Any kind matches Xml_Get_Child; the counts see child elements only.
    EXPECT_EQ(Xml_Get_Child(doc, S("user"), nullptr)->xtype, 0);
    EXPECT_EQ(Xml_Get_Child_Count_No_Source(doc, S("user")), 0);
    EXPECT_EQ(Xml_Get_Child_Count_No_Source(doc, S("grp")), 2);
    EXPECT_EQ(Xml_Get_Child_Count(doc, S("grp"), S("y")), 1);
    EXPECT_EQ(Xml_Get_Child_Count(doc, S("grp"), nullptr), -1);
    EXPECT_EQ(Xml_Get_Child_By_Index(doc, S("grp"), S("y"), 0), Xml_Get_Child(doc, S("grp"), S("y")));
    EXPECT_STREQ(Xml_Get_Child_Source_By_Index(doc, S("grp"), 1, src, 8)->source, "y");
    EXPECT_STREQ(src, "y");
    // The walk leaves the cursor on the match.
    EXPECT_EQ(Fifo_Step_Get_Now(doc->mfifolist), Xml_Get_Child(doc, S("grp"), S("x")));
    Xml_Free(doc);
}

TEST(Xml, ChangingItemsAndIntegers)
{
    pXmldoc doc = Xml_Allocate(S("request"), 1, S("t"));
    Xml_Add_Str(doc, S("k"), S("a"), S("1"));
    Xml_Add_Str(doc, S("k"), S("b"), S("2"));
    EXPECT_EQ(Xml_Set_Str(doc, S("k"), S("b"), S("-1")), 0);
    EXPECT_EQ(Xml_Set_Str(doc, S("k"), S("c"), S("3")), -1);
    EXPECT_EQ(Xml_Get_Int_Str(doc, S("k"), S("b")), -1);
    int v = 0;
    EXPECT_EQ(Xml_Get_Int_Str_Ex(doc, S("k"), S("b"), &v), 0);
    EXPECT_EQ(v, -1);
    EXPECT_EQ(Xml_Del_Str(doc, S("k"), nullptr), 0);  // the first, whatever its source
    EXPECT_STREQ(Xml_Get_Str(doc, S("k"), nullptr), "-1");
    EXPECT_EQ(Xml_Del_Str(doc, S("k"), S("a")), -1);
    EXPECT_EQ(Xml_Add_Int_Str(doc, S("n"), nullptr, -2147483647 - 1), 0);
    EXPECT_EQ(Xml_Add_Int_Str_Ex(doc, S("m"), S("s"), 42), 0);
    EXPECT_EQ(Xml_Get_Int_Str(doc, S("n"), nullptr), -2147483647 - 1);
    EXPECT_EQ(Xml_Get_Int_Str(doc, S("m"), S("s")), 42);

    // The plain forms take a NULL source as any source, the Ex forms refuse it.
    const std::string input = "The input is error!\n";
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Xml_Add_Int_Str_Ex(doc, S("n"), nullptr, 1), -1); }), input);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Xml_Get_Int_Str_Ex(doc, S("m"), nullptr, &v), -1); }), input);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Xml_Get_Int_Str(doc, nullptr, nullptr), -1); }), input);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Xml_Get_Int_Str(doc, S("zz"), nullptr), -1); }),
              "can not get zz from xml!!\n");
    Xml_Free(doc);
}

TEST(Xml, HeadSettersGive0GettersGive1)
{
    pXmldoc doc = Xml_Allocate(S("request"), 1, S("t"));
    EXPECT_EQ(Xml_Set_Head(doc, S(""), 7), -1);
    EXPECT_EQ(Xml_Get_Req_Id(doc), 7);
    EXPECT_EQ(Xml_Set_All_Head(doc, nullptr, nullptr, -1), 0);
    EXPECT_EQ(Xml_Get_Req_Id(doc), 7);
    EXPECT_EQ(Xml_Set_All_Head(doc, S("response"), S("ty"), 9), 0);
    char name[128], type[128], small[4] = "ooo";
    int id = 0;
    EXPECT_EQ(Xml_Get_Head(doc, name, &id, type), 1);
    EXPECT_EQ(std::string(name) + type + std::to_string(id), "responsety9");
    EXPECT_EQ(Xml_Get_Head_Len(doc, small, 2, &id, type, 128), 1);
    EXPECT_STREQ(small, "reo");
    EXPECT_EQ(Xml_Get_Head(Xml_Add_child(doc, S("c"), nullptr), name, &id, type), -1);
    EXPECT_EQ(Xml_Set_Head(doc, S("new"), 3), 0);
    EXPECT_STREQ(Xml_Get_Type(doc), "new");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Xml_Get_Head(nullptr, name, &id, type), -1); }),
              "XML\xCE\xAA\xBF\xD5\xA3\xAC\xCE\xDE\xB7\xA8\xBB\xF1\xC8\xA1\xCD\xB7\xC4\xDA\xC8\xDD\n");
    Xml_Free(doc);
}

TEST(Xml, TextsAreCutAndCopiesAreDeep)
{
    std::string long_text(1500, 'c'), long_name(200, 'n');
    pXmldoc doc = Xml_Allocate(S(long_name.c_str()), 1, S(long_name.c_str()));
    pXmldoc item = Xml_Add_Str(doc, S(long_name.c_str()), S(long_name.c_str()), S(long_text.c_str()));
    EXPECT_EQ(std::string(item->content), long_text.substr(0, 1023));
    EXPECT_EQ(std::string(item->name), long_name.substr(0, 127));
    EXPECT_EQ(std::string(doc->type), long_name.substr(0, 127));
    EXPECT_EQ(Xml_Set_Str(doc, item->name, nullptr, S(long_text.c_str())), 0);
    EXPECT_EQ(strlen(item->content), 1023u);
    pXmldoc ex = Example(), copy = Xml_Copy(ex);
    EXPECT_EQ(Encode(copy), kExample);
    EXPECT_NE(Xml_Get_Child(copy, S("grp"), nullptr), Xml_Get_Child(ex, S("grp"), nullptr));
    EXPECT_EQ(Xml_Copy(Xml_Get_Child(ex, S("grp"), nullptr)), nullptr);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Xml_Add_child(doc, S(""), nullptr), nullptr); }),
              "\xD4\xF6\xBC\xD3XML\xCA\xB1\xA3\xACname\xD7\xD6\xB6\xCE\xCE\xAA\xBF\xD5\xA3\xAC"
              "\xB4\xB4\xBD\xA8\xCA\xA7\xB0\xDC\n");
    EXPECT_EQ(Xml_Add_child(doc, nullptr, nullptr), nullptr);
    EXPECT_EQ(Printed([] { Xml_Free(nullptr); }), "XML\xCE\xAA\xBF\xD5\xA3\xAC\xCE\xDE\xB7\xA8\xCA\xCD\xB7\xC5\n");
    EXPECT_EQ(Printed([] { Xml_Get_Child(nullptr, S("a"), nullptr); }),
              "XML\xCE\xAA\xBF\xD5\xB2\xBB\xC4\xDC\xBB\xF1\xC8\xA1\xD7\xD3\xBD\xDA\xB5\xE3\n");
    Xml_Free(doc);
    Xml_Free(ex);
    Xml_Free(copy);
}

TEST(Xml, DecodeRefusesABadHead)
{
    const std::string absent = "\xB2\xBB\xB4\xE6\xD4\xDA\n", no_value = "\xD7\xD6\xB6\xCE\xC4\xDA\xC8\xDD" + absent;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"<request id=\"5\" type=\"login\"></request>", "Xml r n " + absent},
        {"x\r\nrequest id=\"5\" type=\"login\"", "Xml < > " + absent},
        {"x\r\n<reply id=\"5\" type=\"login\">", "response request " + absent},
        {"x\r\n<request>", "id " + absent},
        {"x\r\n<request id=5 type=login>", "id " + no_value},
        {"x\r\n<request id=\"5\">", "type " + absent},
        {"x\r\n<request type=\"login\" id=\"5\">", "type " + no_value},  // type's value taken as the id
    };
    for (const auto &[text, message] : cases)
        EXPECT_EQ(Printed([&] { EXPECT_EQ(Decode(text), nullptr) << text; }), message) << text;
    EXPECT_EQ(Printed([] { EXPECT_EQ(Xml_Decode(nullptr), nullptr); }), "Xml r n " + absent);
}

TEST(Xml, DecodeReadsTheDialect)
{
    pXmldoc doc = Decode("anything at all\r\n<response id=\"x1\" type=\"login\">\r\n\t<user>bob</user>"
                         "\r\n\t<pwd>&lt;1&gt;</pwd>\r\n</response>trailing<a>1</a>");
    ASSERT_NE(doc, nullptr);
    EXPECT_EQ(std::string(doc->name) + doc->type + std::to_string(doc->requst_id), "responselogin0");
    EXPECT_EQ(Shape(doc), "user=bob;pwd=&lt;1&gt;;");  // no entity decoding, text after the root ignored
    Xml_Free(doc);

    const std::vector<std::pair<std::string, std::string>> bodies = {
        {"junk<a source=\"x\">1</a>more", "a=1;"},
        {"<a></a><b>2</b>", "a=;b=2;"},
        {"<g k=\"v\" source=\"w\"><a>1</a><h><b>2</b></h></g>", "g{a=1;h{b=2;}}"},
        {"<x>1</x><a/><b>2</b>", "x=1;a/{b=2;}"},               // a self-closing tag swallows the rest
        {"<a><a>1</a>2</a>", "a{a=1;}/a=;"},                   // cut at the inner closing tag
        {"<b>1</b><><c>2</c>", "b=1;"},                        // a nameless tag ends the run
        {"<a>1", "a=1;"},                                      // no closing tag: the rest is the content
    };
    for (const auto &[body, shape] : bodies) {
        pXmldoc d = DecodeBody(body);
        EXPECT_EQ(Shape(d), shape) << body;
        Xml_Free(d);
    }
    pXmldoc sourced = DecodeBody("<g k=\"v\" source=\"w\"><a>1</a></g>");
    EXPECT_STREQ(Xml_Get_Child(sourced, S("g"), nullptr)->source, "v");  // the first quoted value
    Xml_Free(sourced);
    pXmldoc empty = DecodeBody("");
    EXPECT_EQ(Shape(empty), "/request=;");
    Xml_Free(empty);
}

TEST(Xml, DecodeBoundsDeepNesting)
{
    std::string body;
    for (int i = 0; i < 20000; i++)
        body += "<e" + std::to_string(i) + ">";
    pXmldoc doc = DecodeBody(body);
    int depth = 0;
    for (pXmldoc n = doc; n->xtype != 0; depth++)
        n = static_cast<pXmldoc>(Fifo_Step_Get_First(n->mfifolist));
    EXPECT_EQ(depth, 65);  // 64 child elements, then the raw text as an item
    Xml_Free(doc);
}

TEST(Xml, EncodeTheWorkedExample)
{
    pXmldoc doc = Example();
    EXPECT_EQ(Encode(doc), kExample);
    // Each walked list is left on its last child, as a walk by index leaves it.
    pXmldoc grp = Xml_Get_Child(doc, S("grp"), nullptr);
    Fifo_Step_Get_First(doc->mfifolist);
    Encode(doc);
    EXPECT_EQ(Fifo_Step_Get_Now(doc->mfifolist), grp);
    EXPECT_EQ(Fifo_Step_Get_Now(grp->mfifolist), Fifo_Index_Get(grp->mfifolist, 0));
    pXmldoc back = Decode(kExample);
    EXPECT_EQ(Encode(back), kExample);
    Xml_Free(back);

    char buf[64];
    int space = 0;
    EXPECT_EQ(Xml_Encode(doc, buf, &space), -1);
    space = 20;  // cut and terminated, nothing beyond the buffer
    memset(buf, 'z', sizeof buf);
    EXPECT_EQ(Xml_Encode(doc, buf, &space), 1);
    EXPECT_EQ(space, 0);
    EXPECT_EQ(std::string(buf), kExample.substr(0, 19));
    EXPECT_EQ(buf[20], 'z');
    space = 64;
    EXPECT_EQ(Xml_Encode_Encoding(doc, S(""), buf, &space), -1);
    EXPECT_EQ(Xml_Encode_Encoding(doc, S("GB2312"), buf, &space), 1);
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"GB2312\"?>" + kExample.substr(kDecl.size() - 2, 24),
              buf);

    // A leaf holding "<" is written as it is and does not come back the same.
    Xml_Set_Str(doc, S("user"), nullptr, S("a<b"));
    std::string text = Encode(doc);
    EXPECT_NE(text.find("<user>a<b</user>"), std::string::npos);
    back = Decode(text);
    EXPECT_EQ(Shape(back), "user{}grp{a=1;}");
    Xml_Free(back);
    Xml_Free(doc);
}

TEST(Xml, SprintfStopsAtTheEnd)
{
    char buf[8], *cursor = buf;
    int space = sizeof buf;
    EXPECT_EQ(Xml_Sprintf(&cursor, &space, "%s", "abc"), 3);
    EXPECT_EQ(space, 5);
    EXPECT_EQ(Xml_Sprintf(&cursor, &space, "%s", "defghij"), 7);  // cut
    EXPECT_EQ(Xml_Sprintf(&cursor, &space, "x"), 1);               // nothing written
    EXPECT_EQ(cursor - buf + space, 8);
    EXPECT_EQ(space, 0);
    EXPECT_STREQ(buf, "abcdefg");
}

TEST(Xml, Utf8ConversionFromGb2312)
{
    char zh[] = "\xD6\xD0\xCE\xC4", out[16] = {};
    EXPECT_EQ(UTF8Encoding(zh, out, 4, sizeof out), 6);
    EXPECT_STREQ(out, "\xE4\xB8\xAD\xE6\x96\x87");
    EXPECT_EQ(UTF8Encoding(zh, out, 4, 5), -1);     // no room
    EXPECT_EQ(UTF8Encoding(zh, out, 3, 16), -1);    // incomplete
    EXPECT_EQ(UTF8Encoding(nullptr, out, 4, 16), -1);

    pXmldoc doc = Xml_Allocate(S("request"), 1, S("\xD6\xD0"));
    Xml_Add_Str(doc, S("zh"), nullptr, zh);
    Xml_Add_Str(doc, S("bad"), nullptr, S("\xFF\xFF"));
    Xml_Add_Str(doc, S("none"), nullptr, nullptr);
    std::string text = Encode(doc, Xml_Encode_UTF8);
    EXPECT_EQ(text, kDecl + "<request id=\"1\" type=\"\xD6\xD0\">\r\n\t<zh>\xE4\xB8\xAD\xE6\x96\x87</zh>\r\n"
                            "\t<bad>\xFF\xFF</bad>\r\n\t<none></none>\r\n</request>\r\n");
    EXPECT_NE(Encode(doc).find("<zh>\xD6\xD0\xCE\xC4</zh>"), std::string::npos);
    // Content that grows past 1024 bytes in UTF-8 is written unconverted.
    std::string wide;
    for (int i = 0; i < 255; i++)
        wide += zh;
    Xml_Set_Str(doc, S("zh"), nullptr, S(wide.c_str()));
    EXPECT_NE(Encode(doc, Xml_Encode_UTF8).find("<zh>" + wide + "</zh>"), std::string::npos);
    Xml_Free(doc);
}

TEST(Xml, DebugViews)
{
    pXmldoc doc = Xml_Allocate(S("request"), 3, S("t"));
    pXmldoc node = doc;
    for (int level = 1; level <= 6; level++)
        node = Xml_Add_child(node, S(("c" + std::to_string(level)).c_str()), S("s"));
    Xml_Add_Str(node, S("leaf"), nullptr, S("v"));
    std::string expect = "xml:\n node type = [ 1 ] id = [ 3 ] name = [ request ] src = [  ] type = [ t ]\n";
    for (int level = 1; level <= 6; level++)
        expect += std::string(level <= 5 ? level : 0, '\t') + "node type = [ 2 ] id = [ 0 ] name = [ c" +
                  std::to_string(level) + " ] src = [ s ] con=[  ]\n";
    expect += "node type = [ 0 ] id = [ 0 ] name = [ leaf ] src = [  ] con=[ v ]\n";
    EXPECT_EQ(Printed([&] { Xml_Printf(doc); }), expect);

    char buf[1024];
    int space = sizeof buf;
    Xml_Sprintf_Buf(doc, buf, &space);
    std::string view = buf;
    EXPECT_EQ(view.substr(0, 90), "HEAD : id = [ 3 ] name = [ request ] type = [ t ]\n"
                                  "\tCHILD : name = [ c1 ] source = [ s ]\n\t\t");
    EXPECT_NE(view.find("\n\t\t\t\t\tCHILD : name = [ c5 ] source = [ s ]\nCHILD : name = [ c6 ] source = [ s ]\n"
                        "POINT : name = [ leaf ] content = [ v ]\n"),
              std::string::npos);
    EXPECT_EQ(space, static_cast<int>(sizeof buf - view.size()));
    space = sizeof buf;
    Xml_Sprintf_Buf(nullptr, buf, &space);
    EXPECT_STREQ(buf, "XML\xCE\xAA\xBF\xD5\xA3\xAC\xCE\xDE\xB7\xA8\xB4\xF2\xD3\xA1\n");
    EXPECT_EQ(Printed([] { Xml_Printf(nullptr); }), buf);
    Xml_Free(doc);

    doc = Example();
    EXPECT_EQ(Printed([&] { Xml_Printf_Msg(doc); }), "xml :" + kExample + "\n");
    Xml_Free(doc);
}

namespace {

// Random documents whose texts hold no "<" and whose elements never nest an
// element of their own name: the ones the text form carries unchanged.
class RandomDoc {
public:
    explicit RandomDoc(unsigned seed) : rng_(seed) {}

    pXmldoc Make()
    {
        pXmldoc doc = Xml_Allocate(S(Pick(2) ? "request" : "response"), static_cast<int>(rng_()),
                                   S(Text("abc xyz_-.", 12).c_str()));
        Fill(doc, 1);
        return doc;
    }

    std::string Text(const std::string &alphabet, int max_len)
    {
        std::string s(Pick(max_len + 1), ' ');
        for (char &c : s)
            c = alphabet[Pick(static_cast<unsigned>(alphabet.size()))];
        return s;
    }
    unsigned Pick(unsigned n) { return static_cast<unsigned>(rng_() % n); }

private:
    void Fill(pXmldoc node, int depth)
    {
        int children = 1 + static_cast<int>(Pick(4));
        for (int i = 0; i < children; i++) {
            std::string name = "n" + std::to_string(depth) + "_" + std::to_string(Pick(3));
            std::string source = Pick(2) ? Text("ab =/&'", 6) : "";
            if (depth < 4 && Pick(3) == 0)
                Fill(Xml_Add_child(node, S(name.c_str()), S(source.c_str())), depth + 1);
            else
                Xml_Add_Str(node, S(name.c_str()), S(source.c_str()),
                            S(Text("ab >&\"'\t\r\n\xD6\xD0", 30).c_str()));
        }
    }
    std::mt19937 rng_;
};

} // namespace

TEST(Xml, DecodeOfEncodeGivesTheSameTree)
{
    RandomDoc gen(1234);
    for (int i = 0; i < 300; i++) {
        pXmldoc doc = gen.Make();
        pXmldoc back = Decode(Encode(doc));
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(Encode(back), Encode(doc));
        Xml_Free(doc);
        Xml_Free(back);
    }
}

// Random and mutated texts: a tree or NULL, never a fault (run under the sanitizers).
TEST(Xml, DecodeSurvivesAnyText)
{
    RandomDoc gen(99);
    const std::string noise = "<>/\"= \r\nabid";
    int trees = 0;
    testing_support::StdoutCapture quiet;
    for (int i = 0; i < 4000; i++) {
        std::string text;
        if (i % 4 == 0) {
            text = (i % 8 ? "x\r\n<request id=\"1\" type=\"t\">" : "") + gen.Text(noise, 200);
        } else {
            pXmldoc doc = gen.Make();
            text = Encode(doc);
            Xml_Free(doc);
            for (int m = 1 + static_cast<int>(gen.Pick(6)); m > 0 && !text.empty(); m--) {
                size_t at = gen.Pick(static_cast<unsigned>(text.size()));
                switch (gen.Pick(4)) {
                case 0: text[at] = noise[gen.Pick(static_cast<unsigned>(noise.size()))]; break;
                case 1: text.erase(at, gen.Pick(40)); break;
                case 2: text.insert(at, text.substr(gen.Pick(static_cast<unsigned>(text.size())), 30)); break;
                default: text[at] = static_cast<char>(1 + gen.Pick(255)); break;
                }
            }
        }
        pXmldoc doc = Decode(text);
        if (doc == nullptr)
            continue;
        trees++;
        char out[512];
        int space = sizeof out;
        Xml_Encode_UTF8(doc, out, &space);
        Xml_Free(doc);
    }
    quiet.Stop();
    EXPECT_GT(trees, 1000);
}
