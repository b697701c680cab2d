/// @file
/// Does with XML documents what the scripts of xml_edit_system_test.py and of
/// xml_file_system_test.py ask for: xml_system_test SCRIPT RESULTS.
///
/// SCRIPT has one operation a line: its name and its arguments, separated by tabs, in UTF-8, where
/// `\t`, `\n`, `\r` and `\\` stand for these characters. RESULTS then has a line for each, written
/// before the next is begun: the result and what else came out in the same form, or `error` and the
/// result code that was thrown.
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CXmlObj.h"

namespace
{

using Fields = std::vector<CStringW>;

CStringW FromUtf8(const std::string& text)
{
    std::wstring wide(text.size(), L'\0');
    const int length =
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                            static_cast<int>(text.size()), &wide[0], static_cast<int>(wide.size()));
    return CStringW(wide.data(), length);
}

std::string ToUtf8(const CStringW& text)
{
    std::string bytes(3 * static_cast<std::size_t>(text.GetLength()), '\0');
    const int length =
        WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text, text.GetLength(), &bytes[0],
                            static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

char Unescaped(char letter)
{
    switch (letter)
    {
        case 't':
            return '\t';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        default:
            return letter;
    }
}

std::string Escaped(const std::string& text)
{
    static const std::map<char, const char*> kEscapes = {
        {'\t', "\\t"}, {'\n', "\\n"}, {'\r', "\\r"}, {'\\', "\\\\"}};
    std::string escaped;
    for (const char letter : text)
    {
        const auto escape = kEscapes.find(letter);
        escape == kEscapes.end() ? escaped.push_back(letter) : (void)escaped.append(escape->second);
    }
    return escaped;
}

Fields Split(const std::string& line)
{
    std::vector<std::string> fields(1);
    for (std::size_t i = 0; i < line.size(); ++i)
    {
        if (line[i] == '\t')
        {
            fields.emplace_back();
        }
        else
        {
            fields.back().push_back(line[i] == '\\' ? Unescaped(line[++i]) : line[i]);
        }
    }
    Fields wide;
    for (const std::string& field : fields)
    {
        wide.push_back(FromUtf8(field));
    }
    return wide;
}

CStringW Text(int number)
{
    CStringW text;
    text.Format(L"%d", number);
    return text;
}

/// A document's loading options and its text.
Fields Details(const CXmlObj::DocumentPtr& document)
{
    VARIANT_BOOL isAsync = 0;
    VARIANT_BOOL isPreserving = 0;
    VARIANT_BOOL isResolving = 0;
    VARIANT_BOOL isValidating = 0;
    _bstr_t text;
    document->get_async(&isAsync);
    document->get_preserveWhiteSpace(&isPreserving);
    document->get_resolveExternals(&isResolving);
    document->get_validateOnParse(&isValidating);
    document->get_text(text.GetAddress());
    return {Text(isAsync), Text(isPreserving), Text(isResolving), Text(isValidating),
            CStringW(static_cast<const wchar_t*>(text))};
}

/// The operations by their names; each takes its arguments behind its own name.
class Editor
{
public:
    Editor() : m_operations(Operations()) {}

    Fields Do(const Fields& fields)
    {
        try
        {
            return m_operations.at(ToUtf8(fields.at(0)))(fields);
        }
        catch (const _com_error& error)
        {
            CStringW code;
            code.Format(L"%08X", static_cast<unsigned int>(error.Error()));
            return {L"error", code};
        }
    }

private:
    using Operation = std::function<Fields(const Fields&)>;

    static Fields Flag(bool flag) { return {flag ? L"1" : L"0"}; }

    std::map<std::string, Operation> Operations()
    {
        std::map<std::string, Operation> operations;
        AddWholeDocument(operations);
        AddValues(operations);
        AddStructure(operations);
        return operations;
    }

    void AddWholeDocument(std::map<std::string, Operation>& to)
    {
        to["new"] = [this](const Fields&)
        {
            m_xml = std::make_unique<CXmlObj>();
            return Flag(true);
        };
        to["load"] = [this](const Fields& in) { return Flag(m_xml->m_F_b_LoadXML(in.at(1))); };
        to["load-file"] = [this](const Fields& in)
        { return Flag(m_xml->m_F_b_LoadXMLFile(in.at(1))); };
        to["save"] = [this](const Fields& in) { return Flag(m_xml->m_F_b_Save(in.at(1))); };
        to["close"] = [this](const Fields&) { return Flag(m_xml->m_F_b_Close()); };
        // What no member does, and no text that can be loaded is without.
        to["remove-root"] = [this](const Fields&)
        {
            const CXmlObj::DocumentPtr document = m_xml->m_F_p_GetDOC();
            CXmlObj::ElementPtr root;
            document->get_documentElement(&root);
            return Flag(SUCCEEDED(document->removeChild(root, nullptr)));
        };
        to["is-open"] = [this](const Fields&) { return Flag(m_xml->m_F_b_IsOpen()); };
        to["xml"] = [this](const Fields&)
        {
            const CStringW xml = m_xml->m_F_s_GetXML();
            return Fields{Text(m_xml->m_F_n_GetXML_Length()), xml};
        };
        to["length"] = [this](const Fields&) { return Fields{Text(m_xml->m_F_n_GetXML_Length())}; };
        // Of the document held, and of one that the platform loads by itself from a file.
        to["details"] = [this](const Fields&) { return Details(m_xml->m_F_p_GetDOC()); };
        to["platform-details"] = [](const Fields& in)
        {
            CXmlObj::DocumentPtr document;
            document.CreateInstance(L"Msxml2.DOMDocument");
            VARIANT_BOOL isLoaded = VARIANT_FALSE;
            document->load(_variant_t(in.at(1).GetString()), &isLoaded);
            return Details(document);
        };
    }

    void AddValues(std::map<std::string, Operation>& to)
    {
        to["set-value"] = [this](const Fields& in)
        { return Flag(m_xml->m_F_b_SetValue(in.at(1), in.at(2), in.at(3))); };
        to["set-number"] = [this](const Fields& in)
        { return Flag(m_xml->m_F_b_SetValue(in.at(1), in.at(2), _wtoi(in.at(3)))); };
        to["set-text"] = [this](const Fields& in)
        { return Fields{Text(m_xml->m_F_n_SetText(in.at(1), in.at(2)))}; };
        to["get-value"] = [this](const Fields& in)
        {
            CStringW value = L"untouched";
            const int length = m_xml->m_F_n_GetValue(in.at(1), in.at(2), value, in.at(3));
            return Fields{Text(length), value};
        };
        to["get-string"] = [this](const Fields& in)
        { return Fields{m_xml->m_F_s_GetValue(in.at(1), in.at(2), in.at(3))}; };
        to["get-number"] = [this](const Fields& in)
        { return Fields{Text(m_xml->m_F_n_GetValueInt(in.at(1), in.at(2), _wtoi(in.at(3))))}; };
        to["get-text"] = [this](const Fields& in)
        {
            CStringW text = L"untouched";
            const int length = m_xml->m_F_n_GetText(in.at(1), text, in.at(2));
            return Fields{Text(length), text};
        };
    }

    void AddStructure(std::map<std::string, Operation>& to)
    {
        to["add"] = [this](const Fields& in)
        { return Flag(m_xml->m_F_b_AddNods(in.at(1), in.at(2))); };
        to["remove"] = [this](const Fields& in)
        { return Flag(m_xml->m_F_b_RemoveNods(in.at(1), in.at(2))); };
        to["rename"] = [this](const Fields& in)
        { return Flag(m_xml->m_F_b_RenameNods(in.at(1), in.at(2), in.at(3))); };
        // The arguments behind the key are in the list before.
        to["child-keys"] = [this](const Fields& in)
        {
            CStringList list;
            for (std::size_t i = 2; i < in.size(); ++i)
            {
                list.AddTail(in[i]);
            }
            Fields result = {Text(m_xml->m_F_n_GetChildKey(in.at(1), list))};
            for (POSITION position = list.GetHeadPosition(); position != nullptr;)
            {
                result.push_back(list.GetNext(position));
            }
            return result;
        };
        to["select"] = [this](const Fields& in)
        { return Fields{Text(m_xml->m_F_n_SelectChildNodes(in.at(1)))}; };
        to["selected"] = [this](const Fields& in)
        {
            CStringW value = L"untouched";
            CStringW tag = L"untouched";
            const int length =
                m_xml->m_F_n_GetSelectedChildItemAttr(_wtoi(in.at(1)), in.at(2), value, tag);
            return Fields{Text(length), value, tag};
        };
        // How many nodes there are, and an attribute of each.
        to["nodes"] = [this](const Fields& in)
        {
            const CXmlObj::NodeListPtr nodes = m_xml->m_S_SelectNodesByKey(in.at(1));
            Fields result = {L"null"};
            if (nodes)
            {
                long count = 0;
                nodes->get_length(&count);
                result[0] = Text(static_cast<int>(count));
                for (long i = 0; i < count; ++i)
                {
                    CXmlObj::NodePtr node;
                    nodes->get_item(i, &node);
                    CStringW value;
                    CXmlObj::s_S_GetNodeVal(node, in.at(2), value, in.at(3));
                    result.push_back(value);
                }
            }
            return result;
        };
    }

    std::unique_ptr<CXmlObj> m_xml = std::make_unique<CXmlObj>();
    std::map<std::string, Operation> m_operations;
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        return 2;
    }
    std::ifstream script(argv[1], std::ios::binary);
    std::ofstream results(argv[2], std::ios::binary);
    Editor editor;
    int count = 0;
    for (std::string line; std::getline(script, line); ++count)
    {
        std::string separator;
        for (const CStringW& field : editor.Do(Split(line)))
        {
            results << separator << Escaped(ToUtf8(field));
            separator = "\t";
        }
        results << std::endl;
    }
    std::printf("%d operations\n", count);
    return count > 0 && results ? 0 : 1;
}
