#include "CXmlObj.h"

#include <shlwapi.h>
#include <wininet.h>

#include "xml/dom.h"

using namespace ostrel::xml;

namespace
{

// The version-independent DOMDocument of the MSXML2 type library, served by MSXML 3.0.
constexpr CLSID kDomDocument = {
    0xF6D90F11, 0x9C73, 0x11D3, {0xB3, 0x2E, 0x00, 0xC0, 0x4F, 0x99, 0x0B, 0xB4}};

bool IsParsed(const CXmlObj::DocumentPtr& document, VARIANT_BOOL isLoaded)
{
    if (isLoaded == VARIANT_FALSE)
    {
        return false;
    }
    ParseErrorPtr error;
    Check(document->get_parseError(&error), document);
    long code = 0;
    Check(error->get_errorCode(&code), error);
    return code == 0;
}

/// Where a document was loaded from, as the DOM's `save` takes it: the DOM tells a file by its URL,
/// but asks for its name.
CStringW SourceOf(const CXmlObj::DocumentPtr& document)
{
    Bstr url;
    Check(document->get_url(url.Receive()), document);
    const CStringW source = url.ToString();
    wchar_t path[INTERNET_MAX_URL_LENGTH] = {};
    DWORD length = INTERNET_MAX_URL_LENGTH;
    const bool isFile = UrlIsW(source, URLIS_FILEURL) != FALSE &&
                        SUCCEEDED(PathCreateFromUrlW(source, path, &length, 0));
    return isFile ? CStringW(path) : source;
}

}  // namespace

CXmlObj::CXmlObj() : vm_bOpen(false)
{
    // Whatever it says: a thread that is initialised already can be used as well.
    (void)CoInitialize(nullptr);
}

CXmlObj::CXmlObj(const CXmlObj& other) = default;

CXmlObj& CXmlObj::operator=(const CXmlObj& other) = default;

CXmlObj::~CXmlObj()
{
    vm_bOpen = false;
}

bool CXmlObj::m_F_b_LoadXML(CStringW strXml)
{
    vm_bOpen = false;
    if (FAILED(vm_pDoc.CreateInstance(kDomDocument)))
    {
        return false;
    }
    VARIANT_BOOL isLoaded = VARIANT_FALSE;
    Check(vm_pDoc->loadXML(Bstr(strXml).Get(), &isLoaded), vm_pDoc);
    vm_bOpen = IsParsed(vm_pDoc, isLoaded);
    return vm_bOpen;
}

bool CXmlObj::m_F_b_LoadXMLFile(CStringW strPath)
{
    vm_bOpen = false;
    if (FAILED(vm_pDoc.CreateInstance(kDomDocument)))
    {
        return false;
    }
    VARIANT_BOOL isLoaded = VARIANT_FALSE;
    Check(vm_pDoc->load(Bstr(strPath).ToVariant(), &isLoaded), vm_pDoc);
    vm_bOpen = IsParsed(vm_pDoc, isLoaded);
    return vm_bOpen;
}

bool CXmlObj::m_F_b_Save(CStringW strPath)
{
    if (!vm_bOpen)
    {
        return false;
    }
    if (strPath.IsEmpty())
    {
        strPath = SourceOf(vm_pDoc);
    }
    if (strPath.IsEmpty())
    {
        return false;
    }
    Check(vm_pDoc->save(Bstr(strPath).ToVariant()), vm_pDoc);
    return true;
}

CStringW CXmlObj::m_F_s_GetXML()
{
    Bstr xml;
    if (vm_bOpen)
    {
        Check(vm_pDoc->get_xml(xml.Receive()), vm_pDoc);
    }
    return xml.ToString();
}

int CXmlObj::m_F_n_GetXML_Length()
{
    Bstr xml;
    if (vm_bOpen)
    {
        Check(vm_pDoc->get_xml(xml.Receive()), vm_pDoc);
    }
    return xml.Length();
}

bool CXmlObj::m_F_b_Close()
{
    vm_bOpen = false;
    return true;
}

bool CXmlObj::m_F_b_IsOpen()
{
    return vm_bOpen;
}

CXmlObj::DocumentPtr CXmlObj::m_F_p_GetDOC()
{
    return vm_pDoc;
}
