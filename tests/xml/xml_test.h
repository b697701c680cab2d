/// @file
/// What the tests of XML documents share.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "CXmlObj.h"

// Shows a string of the interface in a failed comparison.
inline void PrintTo(const CStringW& text, std::ostream* stream)
{
    *stream << '"' << CStringA(text).GetString() << '"';
}

namespace ostrel::test
{

/// The document element with all in it, as the DOM has it, without any white space of the writer's:
/// `<a k="1"><x/>text<!--comment--></a>`. Empty when there is none.
std::wstring Structure(const CXmlObj::DocumentPtr& document);

inline std::wstring Structure(CXmlObj& xml)
{
    return Structure(xml.m_F_p_GetDOC());
}

inline std::wstring Wide(const CStringW& text)
{
    return std::wstring(text.GetString(), static_cast<std::size_t>(text.GetLength()));
}

inline CStringW Repeated(const wchar_t* text, int count)
{
    CStringW repeated;
    for (int i = 0; i < count; ++i)
    {
        repeated += text;
    }
    return repeated;
}

/// Takes the document element out, which no text that can be loaded is without.
void RemoveDocumentElement(CXmlObj& xml);

/// How many references to an object there are.
unsigned long ReferencesTo(IUnknown* object);

/// The result code of the `_com_error` that a call throws; S_OK if it throws none.
template <class Call>
HRESULT ErrorOf(Call call)
{
    try
    {
        call();
    }
    catch (const _com_error& error)
    {
        return error.Error();
    }
    return S_OK;
}

/// A result code of a call that the tests have fail.
constexpr HRESULT kFailure = static_cast<HRESULT>(0x80041234);

/// A document to be loaded.
class XmlTest : public testing::Test
{
protected:
    void Load(const wchar_t* text) { ASSERT_TRUE(m_xml.m_F_b_LoadXML(text)); }

    CXmlObj::ElementPtr DocumentElement()
    {
        CXmlObj::ElementPtr element;
        EXPECT_EQ(m_xml.m_F_p_GetDOC()->get_documentElement(&element), S_OK);
        return element;
    }

    CXmlObj m_xml;
};

/// A name for a file of its own in the folder for temporary files, where there is none yet; the
/// file is removed in the end.
class TemporaryFile
{
public:
    explicit TemporaryFile(const wchar_t* name = L"document.xml");
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const CStringW& Path() const { return m_path; }
    bool Exists() const;
    std::string Read() const;
    void Write(const std::string& bytes) const;

private:
    CStringW m_folder;
    CStringW m_path;
};

/// While it lives, all of the platform's objects of this class have another method in their table.
class MethodPatch
{
public:
    template <class Function>
    MethodPatch(IUnknown* object, std::size_t slot, Function* replacement)
        : m_place(*reinterpret_cast<void***>(object) + slot),
          m_original(Store(reinterpret_cast<void*>(replacement)))
    {
    }
    ~MethodPatch() { Store(m_original); }
    MethodPatch(const MethodPatch&) = delete;
    MethodPatch& operator=(const MethodPatch&) = delete;

    template <class Function>
    void GetOriginal(Function*& original) const
    {
        original = reinterpret_cast<Function*>(m_original);
    }

private:
    void* Store(void* method);

    void** m_place;
    void* m_original;
};

}  // namespace ostrel::test
