// Thousands of operations, good ones and failing ones, leave neither references nor memory behind.
#include "net/process_resources.h"
#include "xml/xml_test.h"

namespace
{

using namespace ostrel::test;

constexpr int kWarmUps = 200;
constexpr int kRounds = 3000;

/// Calls often, and expects the process to hold afterwards what it held after a few calls.
template <class Call>
void ExpectNothingHeld(Call call)
{
    for (int i = 0; i < kWarmUps; ++i)
    {
        call();
    }
    const ProcessResources before = MeasureResources();
    for (int i = 0; i < kRounds; ++i)
    {
        call();
    }
    ExpectNothingLeftBehind(before);
}

// Long enough for every string of it that is forgotten to count.
const wchar_t* const kText = L"a value that is as long as some sixty characters, or a few more";

class XmlResources : public XmlTest
{
protected:
    void TearDown() override
    {
        // The object's reference, and this one.
        const CXmlObj::DocumentPtr document = m_xml.m_F_p_GetDOC();
        EXPECT_EQ(ReferencesTo(document), 2U);
    }
};

TEST_F(XmlResources, OfLoadingAndClosing)
{
    ExpectNothingHeld(
        [&]
        {
            EXPECT_TRUE(m_xml.m_F_b_LoadXML(L"<root><a k='1'>text<b/><!--c--></a></root>"));
            EXPECT_EQ(m_xml.m_F_n_SelectChildNodes(L"a"), 1);
            EXPECT_GT(m_xml.m_F_n_GetXML_Length(), 0);
            EXPECT_FALSE(m_xml.m_F_s_GetXML().IsEmpty());
            EXPECT_TRUE(m_xml.m_F_b_Close());
            EXPECT_FALSE(m_xml.m_F_b_LoadXML(L"<root><a></root>"));
        });
}

TEST_F(XmlResources, OfCopies)
{
    Load(L"<root><a/></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"/root"), 1);
    ExpectNothingHeld(
        [&]
        {
            CXmlObj copy(m_xml);
            CXmlObj other;
            EXPECT_TRUE(other.m_F_b_LoadXML(L"<other><b/></other>"));
            EXPECT_EQ(other.m_F_n_SelectChildNodes(L"/other"), 1);
            other = copy;
            copy = CXmlObj();
        });
}

TEST_F(XmlResources, OfReading)
{
    Load(L"<root><a k='1' e=''>text</a></root>");
    ASSERT_TRUE(m_xml.m_F_b_SetValue(L"a", L"t", kText));
    ExpectNothingHeld(
        [&]
        {
            CStringW value;
            EXPECT_EQ(m_xml.m_F_s_GetValue(L"/root/a", L"t", L""), kText);
            EXPECT_EQ(m_xml.m_F_n_GetValueInt(L"a", L"k", 0), 1);
            EXPECT_EQ(m_xml.m_F_n_GetValue(L"a", L"missing", value, L"d"), 0);
            EXPECT_EQ(m_xml.m_F_n_GetValue(L"missing/path", L"k", value, L"d"), 0);
            EXPECT_EQ(m_xml.m_F_n_GetValue(L"a/@k", L"k", value, L"d"), 0);
            EXPECT_EQ(m_xml.m_F_n_GetText(L"a", value, L""), 4);
            CStringList names;
            EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"a", names), 1);
            EXPECT_EQ(m_xml.m_F_n_SelectChildNodes(L"/root"), 1);
            CStringW tagName;
            EXPECT_GT(m_xml.m_F_n_GetSelectedChildItemAttr(0, L"t", value, tagName), 0);
            CXmlObj::NodePtr node;
            m_xml.m_S_SelectNodesByKey(L"root/a")->get_item(0, &node);
            CXmlObj::s_S_GetNodeVal(node, L"t", value, L"");
            EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"k", 0), 1);
        });
}

// The DOM may keep what was removed from a document as long as the document is there, so a document
// is loaded every time.
TEST_F(XmlResources, OfWriting)
{
    ExpectNothingHeld(
        [&]
        {
            Load(L"<root/>");
            EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x/y", L"k", kText));
            EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x/y", L"n", 42));
            EXPECT_EQ(m_xml.m_F_n_SetText(L"x/z", kText), 1);
            EXPECT_TRUE(m_xml.m_F_b_AddNods(L"x/y", L"c"));
            EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"x", L"y", L"w"));
            EXPECT_TRUE(m_xml.m_F_b_RemoveNods(L"/root", L"x"));
        });
    EXPECT_EQ(Structure(m_xml), L"<root/>");
}

TEST_F(XmlResources, OfTheDefaultRoot)
{
    ExpectNothingHeld(
        [&]
        {
            Load(L"<root/>");
            RemoveDocumentElement(m_xml);
            EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x/y", L"k", kText));
        });
}

TEST_F(XmlResources, OfErrors)
{
    Load(L"<root><a><b k='1'/></a></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"a"), 1);
    ExpectNothingHeld(
        [&]
        {
            CStringW value;
            CStringW tagName;
            EXPECT_TRUE(FAILED(ErrorOf([&] { m_xml.m_F_s_GetValue(L"count(a)", L"k", kText); })));
            EXPECT_TRUE(FAILED(ErrorOf([&] { m_xml.m_F_b_SetValue(L"a/", L"k", kText); })));
            EXPECT_TRUE(FAILED(ErrorOf([&] { m_xml.m_F_b_RemoveNods(L"/root", L"a/b"); })));
            EXPECT_TRUE(FAILED(ErrorOf([&] { m_xml.m_F_b_Save(L"Q:\\missing\\folder\\x.xml"); })));
            EXPECT_TRUE(FAILED(ErrorOf([&] { m_xml.m_S_SelectNodesByKey(L"["); })));
            EXPECT_EQ(
                ErrorOf([&] { m_xml.m_F_n_GetSelectedChildItemAttr(1, L"k", value, tagName); }),
                E_POINTER);
        });
    EXPECT_EQ(Structure(m_xml), L"<root><a><b k=\"1\"/></a></root>");
}

TEST_F(XmlResources, OfFiles)
{
    const TemporaryFile file;
    Load(L"<root><a k='1'/></root>");
    const auto saveAndLoad = [&]
    {
        EXPECT_TRUE(m_xml.m_F_b_Save(file.Path()));
        EXPECT_TRUE(m_xml.m_F_b_LoadXMLFile(file.Path()));
        EXPECT_TRUE(m_xml.m_F_b_Save(L""));
    };
    saveAndLoad();
    const ProcessResources before = MeasureResources();
    for (int i = 0; i < 300; ++i)
    {
        saveAndLoad();
    }
    ExpectNothingLeftBehind(before);
}

}  // namespace
