// What a read or a write by key costs beside the same calls of the platform's DOM made directly, in
// turns, in one run, and how it grows with the document.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "CXmlObj.h"

namespace
{

using Clock = std::chrono::steady_clock;

/// A text of the DOM's, made and released for each call, as a caller of the DOM has to.
class Text
{
public:
    explicit Text(const wchar_t* text) : m_text(SysAllocString(text)) {}
    ~Text() { SysFreeString(m_text); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    operator BSTR() const { return m_text; }

private:
    BSTR m_text;
};

/// Settings as a client has them, in some groups; the one asked for is in the middle.
struct Settings
{
    explicit Settings(int elements)
    {
        const int groups = elements < 1000 ? 2 : 10;
        const int items = elements / groups - 1;
        document = L"<root>";
        for (int group = 0; group < groups; ++group)
        {
            const std::wstring name = L"group" + std::to_wstring(group);
            document += L"<" + name + L">";
            for (int item = 0; item < items; ++item)
            {
                const std::wstring tag = L"item" + std::to_wstring(item);
                document += L"<" + tag + L" value=\"old\">text</" + tag + L">";
            }
            document += L"</" + name + L">";
        }
        document += L"</root>";
        key = L"group" + std::to_wstring(groups / 2) + L"/item" + std::to_wstring(items / 2);
    }

    std::wstring document;
    std::wstring key;
};

/// The element of a key by the DOM's own calls.
CXmlObj::ElementPtr Find(const CXmlObj::DocumentPtr& document, const wchar_t* key)
{
    CXmlObj::ElementPtr root;
    document->get_documentElement(&root);
    CXmlObj::NodePtr node;
    root->selectSingleNode(Text(key), &node);
    return node;
}

void ReadValue(const CXmlObj::DocumentPtr& document, const wchar_t* key, CStringW& value)
{
    const CXmlObj::ElementPtr element = Find(document, key);
    _com_ptr_t<_com_IIID<IXMLDOMNamedNodeMap, &IID_IXMLDOMNamedNodeMap>> attributes;
    element->get_attributes(&attributes);
    CXmlObj::NodePtr attribute;
    attributes->getNamedItem(Text(L"value"), &attribute);
    VARIANT found;
    VariantInit(&found);
    attribute->get_nodeValue(&found);
    value = V_BSTR(&found);
    VariantClear(&found);
}

void WriteValue(const CXmlObj::DocumentPtr& document, const wchar_t* key, const wchar_t* value)
{
    const Text text(value);
    VARIANT variant;
    V_VT(&variant) = VT_BSTR;
    V_BSTR(&variant) = text;
    Find(document, key)->setAttribute(Text(L"value"), variant);
}

void ReadText(const CXmlObj::DocumentPtr& document, const wchar_t* key, CStringW& text)
{
    BSTR found = nullptr;
    Find(document, key)->get_text(&found);
    text = found;
    SysFreeString(found);
}

void WriteText(const CXmlObj::DocumentPtr& document, const wchar_t* key, const wchar_t* text)
{
    Find(document, key)->put_text(Text(text));
}

template <class Call>
double Measure(Call call, int calls)
{
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < calls; ++i)
    {
        call();
    }
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / calls;
}

double Median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Both ways in turns, of which neither is always the first; the ratio is the middle one of the
/// rounds'.
template <class Direct, class ByKey>
void Compare(const char* name, int elements, int calls, Direct direct, ByKey byKey)
{
    constexpr int kRounds = 50;
    std::vector<double> direct_us;
    std::vector<double> byKey_us;
    std::vector<double> ratios;
    for (int round = 0; round < kRounds; ++round)
    {
        if (round % 2 == 0)
        {
            direct_us.push_back(Measure(direct, calls / kRounds));
            byKey_us.push_back(Measure(byKey, calls / kRounds));
        }
        else
        {
            byKey_us.push_back(Measure(byKey, calls / kRounds));
            direct_us.push_back(Measure(direct, calls / kRounds));
        }
        ratios.push_back(byKey_us.back() / direct_us.back());
    }
    std::printf("%-12s %9d %9d %12.2f %12.2f %8.2f\n", name, elements, calls, Median(direct_us),
                Median(byKey_us), Median(ratios));
}

bool CompareAll(int elements, int calls)
{
    const Settings settings(elements);
    CXmlObj xml;
    if (!xml.m_F_b_LoadXML(settings.document.c_str()))
    {
        return false;
    }
    const CXmlObj::DocumentPtr document = xml.m_F_p_GetDOC();
    const wchar_t* key = settings.key.c_str();
    CStringW value;
    Compare(
        "read value", elements, calls, [&] { ReadValue(document, key, value); },
        [&] { xml.m_F_n_GetValue(key, L"value", value, L""); });
    Compare(
        "write value", elements, calls, [&] { WriteValue(document, key, L"new"); },
        [&] { xml.m_F_b_SetValue(key, L"value", L"new"); });
    Compare(
        "read text", elements, calls, [&] { ReadText(document, key, value); },
        [&] { xml.m_F_n_GetText(key, value, L""); });
    Compare(
        "write text", elements, calls, [&] { WriteText(document, key, L"new"); },
        [&] { xml.m_F_n_SetText(key, L"new"); });
    return !value.IsEmpty();
}

}  // namespace

int main()
{
    std::printf("%-12s %9s %9s %12s %12s %8s\n", "", "elements", "calls", "direct (us)",
                "by key (us)", "ratio");
    bool isDone = true;
    for (const auto& [elements, calls] :
         {std::pair<int, int>{10, 10000}, {1000, 10000}, {100000, 200}})
    {
        isDone = CompareAll(elements, calls) && isDone;
    }
    return isDone ? 0 : 1;
}
