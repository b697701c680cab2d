/// @file
/// XML documents: settings that are read and written by slash-separated paths, and lists of
/// elements.
#pragma once

#include <afxcoll.h>
#include <comdef.h>
#include <msxml2.h>

#include "LibOstrelExport.h"

/// One XML document of the platform's DOM (MSXML 3.0), in which elements are named by keys.
///
/// Construct, load (m_F_b_LoadXML() or m_F_b_LoadXMLFile()), read and edit by key, then write with
/// m_F_b_Save() or m_F_s_GetXML(). The document is open from a successful load to m_F_b_Close() or
/// the next load; while it is not open, the members that read and edit do nothing and return false,
/// 0, null or their default.
///
/// **Keys** name an element below the document element: `a/b` is the first `b` in the first `a`
/// there. Precisely, a key is an expression that the DOM's `selectSingleNode` evaluates with the
/// document element as its context, so predicates and the like are possible. The empty key is the
/// document element itself. A leading slash means that the first component names the document
/// element; it is dropped, whatever it says, so that `/root/a/b` and `a/b` are the same. A key with
/// a leading slash and no other is left as it is, an absolute path: `/a` finds a document element
/// `a` and nothing else.
///
/// A lookup that creates what is missing goes through the key's components one by one, skipping
/// empty ones, and appends an element for each that is not found; existing elements are never
/// duplicated. Any lookup in an open document without a document element creates one named `root`
/// first.
///
/// A **value** is an attribute of the element; a **text** is the DOM's `text` of it: the text of
/// the element and of all in it on reading, one text in the place of all its children on writing.
///
/// **Errors.** What is missing is told by results. A DOM call that fails (an expression or a name
/// that is not valid, a file that cannot be written) throws `_com_error` with its result code, and
/// with its `IErrorInfo` where the failing interface says that it has one; a null interface where
/// one is needed throws it with `E_POINTER`, and memory that the DOM's texts (`BSTR`) cannot have
/// with `E_OUTOFMEMORY`. Where memory for a string or a list's entry cannot be had, a
/// `CMemoryException*` is thrown. No member catches either.
///
/// **Copies** share the DOM: what is edited through one is seen by the other. Nothing is
/// duplicated.
///
/// **Threads.** The constructor makes the calling thread a single-threaded COM apartment
/// (`CoInitialize`), and the object is for that thread alone. `CoUninitialize` is never called, and
/// an object must be gone before a client calls it.
class OSTREL_API CXmlObj
{
public:
    // The DOM's interfaces, held by counted references:
    // {2933BF81-7B36-11D2-B20E-00C04F983E60}
    typedef _com_ptr_t<_com_IIID<IXMLDOMDocument, &IID_IXMLDOMDocument>> DocumentPtr;
    // {2933BF80-7B36-11D2-B20E-00C04F983E60}
    typedef _com_ptr_t<_com_IIID<IXMLDOMNode, &IID_IXMLDOMNode>> NodePtr;
    // {2933BF82-7B36-11D2-B20E-00C04F983E60}
    typedef _com_ptr_t<_com_IIID<IXMLDOMNodeList, &IID_IXMLDOMNodeList>> NodeListPtr;
    // {2933BF86-7B36-11D2-B20E-00C04F983E60}
    typedef _com_ptr_t<_com_IIID<IXMLDOMElement, &IID_IXMLDOMElement>> ElementPtr;

    /// Initialises COM for the calling thread, whose result is ignored. The document is not open.
    CXmlObj();

    /// Shares the other object's document and selection, and copies whether it is open.
    CXmlObj(const CXmlObj& other);

    /// As the copy constructor; what was held before is released.
    CXmlObj& operator=(const CXmlObj& other);

    /// Releases the selection and the document.
    ~CXmlObj();

    // ---- The document ------------------------------------------------------------------------

    /// Loads a document from a text, in place of the one held, which is closed and released first.
    /// The selection (m_F_n_SelectChildNodes()) stays, and with it the nodes it names.
    /// @param strXml the whole document. An encoding that its declaration names must be fit for
    /// UTF-16 text.
    /// @return true when it was parsed without error. Otherwise the object is closed, and what it
    /// held is gone.
    bool m_F_b_LoadXML(CStringW strXml);

    /// Loads a document from a file, in every other respect as m_F_b_LoadXML().
    ///
    /// The DOM's `async` is left as the platform has it. Where it is on, as on Windows, true may
    /// come before the document is parsed, and so before what is wrong with it is known; see
    /// docs/xml.md, also for files that are not trusted.
    /// @param strPath file path or URL.
    bool m_F_b_LoadXMLFile(CStringW strPath);

    /// Writes the document as the DOM does: nothing is indented and no declaration is added.
    /// @param strPath file path; empty: where the document was loaded from.
    /// @return false when the document is not open, or @p strPath is empty and the document was
    /// loaded from a text; true otherwise. A file that cannot be written throws `_com_error`.
    bool m_F_b_Save(CStringW strPath);

    /// @return the document as text, empty when it is not open.
    CStringW m_F_s_GetXML();

    /// @return the length of m_F_s_GetXML() in UTF-16 code units, 0 when the document is not open.
    /// The text is made only to be measured, so call m_F_s_GetXML() alone if you need both.
    int m_F_n_GetXML_Length();

    /// Closes the document. It releases nothing, on purpose: m_F_p_GetDOC() still returns the
    /// document, until the next load.
    /// @return true, always.
    bool m_F_b_Close();

    /// @return whether a document is open.
    bool m_F_b_IsOpen();

    /// @return the document, open or not; null before the first load. The caller gets a reference
    /// of his own.
    DocumentPtr m_F_p_GetDOC();

    // ---- Values and texts --------------------------------------------------------------------

    /// Reads a value; creates nothing.
    /// @param strKey the element's key; empty finds nothing, on purpose (m_F_b_SetValue() differs).
    /// @param strName the attribute's name.
    /// @param strValue receives the value, or @p strDefault when there is none.
    /// @return the value's length in characters, so 0 for an attribute that is empty (@p strValue
    /// is empty then) as well as for none.
    int m_F_n_GetValue(CStringW strKey, CStringW strName, CStringW& strValue, CStringW strDefault);

    /// As m_F_n_GetValue().
    /// @return the value, or @p strDefault when there is none.
    CStringW m_F_s_GetValue(CStringW strKey, CStringW strName, CStringW strDefault);

    /// As m_F_n_GetValue(), for a decimal number, read as `_wtoi` does: leading blanks and a sign
    /// are accepted, and the number ends at the first character that is no digit.
    /// @return the number, 0 for a value without digits; @p nDefault when there is no value or it
    /// is empty.
    int m_F_n_GetValueInt(CStringW strKey, CStringW strName, int nDefault);

    /// Writes a value; creates the elements of the key that are missing.
    /// @param strKey the element's key; empty: the document element.
    /// @param strName the attribute's name; the attribute is created or overwritten.
    /// @return false when @p strName is empty, the document is not open, or the key still finds no
    /// element.
    bool m_F_b_SetValue(CStringW strKey, CStringW strName, CStringW strValue);

    /// As the other m_F_b_SetValue(); the number becomes decimal text.
    bool m_F_b_SetValue(CStringW strKey, CStringW strName, int nValue);

    /// Reads a text. Creates the elements of the key that are missing, on purpose.
    /// @param strKey the element's key; empty finds nothing.
    /// @param strText receives the text, also an empty one; @p strDefault only when no element was
    /// found or made.
    /// @return the text's length in characters; 0 when no element was found or made.
    int m_F_n_GetText(CStringW strKey, CStringW& strText, CStringW strDefault);

    /// Writes a text, in the place of all that is in the element; creates the elements of the key
    /// that are missing.
    /// @param strKey the element's key; empty finds nothing.
    /// @return 1; 0 when no element was found or made.
    int m_F_n_SetText(CStringW strKey, CStringW strText);

    /// Reads an attribute of a node that the client holds, for instance one of
    /// m_S_SelectNodesByKey().
    /// @param pNode the node; may be null. The client's own references stay as they are.
    /// @param strValue receives the attribute's value; @p strDefault when there is no such
    /// attribute.
    static void s_S_GetNodeVal(NodePtr pNode, CStringW strName, CStringW& strValue,
                               CStringW strDefault);

    /// As s_S_GetNodeVal(), for a decimal number, read as `_wtoi` does.
    /// @return the number, 0 for a value that is empty or has no digits (m_F_n_GetValueInt()
    /// differs, on purpose); @p nDefault when there is no such attribute.
    static int s_F_n_GetNodeValInt(NodePtr pNode, CStringW strName, int nDefault);

    // ---- Structure ---------------------------------------------------------------------------

    /// Makes sure that an element has a child of this name. Creates the elements of the key that
    /// are missing, and the child only when there is none.
    /// @param strKey the parent's key; empty: the document element. Not a key that ends in a slash
    /// behind the root's name, such as `/root/`: the child is made, but not found again, every
    /// time.
    /// @param strName the child's tag name.
    /// @return whether the child was found or made; false when @p strName is empty.
    bool m_F_b_AddNods(CStringW strKey, CStringW strName);

    /// Removes an element's first child of this name with all that is in it. Creates nothing.
    /// @param strKey the parent's key; empty finds nothing: name the document element by its name
    /// behind a slash (`/root`), or by any key with two slashes and nothing behind them (`/any/`).
    /// @param strName the child's tag name. An expression that selects an element which is not a
    /// child of the parent throws `_com_error`.
    /// @return whether a child was removed.
    bool m_F_b_RemoveNods(CStringW strKey, CStringW strName);

    /// Gives an element's first child of this name another one, by way of a new element, which
    /// becomes the parent's last child and receives the old one's attributes and children. All of
    /// the following is on purpose:
    /// - A child that has the new name already is removed first, with its content.
    /// - Children are moved up to the first that is not an element: it and all that follow it, be
    ///   they text, comments or elements, are lost.
    /// - The old name is looked up again for each child that is moved. As a tag name it selects the
    ///   same element every time; an expression such as `a[c]` may select another then, whose
    ///   leading children are moved as well. When it selects the new element, the moving ends.
    /// - What the old name selects in the end is removed; for an expression that may be another
    ///   element than the first, even the new one, or none.
    /// - If both names are the same, the child is removed; of several, the first two are, for the
    ///   second is then both the old and the new one.
    /// - If there is no child of the old name, the parent gains an empty one of the new name.
    /// @param strKey the parent's key; empty finds nothing, see m_F_b_RemoveNods().
    /// @param strOldName a tag name or an expression relative to the parent. One that selects the
    /// parent or an element around it throws `_com_error`, when it comes to moving an element into
    /// itself.
    /// @param strNewName a tag name.
    /// @return false when an argument is empty or there is no parent; true otherwise.
    bool m_F_b_RenameNods(CStringW strKey, CStringW strOldName, CStringW strNewName);

    // ---- Lists of elements -------------------------------------------------------------------

    /// Appends the names of all children of an element to a list, in the document's order: tag
    /// names, and `#text`, `#comment` and `#cdata-section` for what is not an element. Creates
    /// nothing.
    /// @param strKey the element's key; empty finds nothing.
    /// @param list is not emptied first.
    /// @return how many entries the list has then, those included that were in it before; 0 when
    /// @p strKey is empty.
    int m_F_n_GetChildKey(CStringW strKey, CStringList& list);

    /// Selects the child elements of an element, in the document's order, to be read one by one
    /// with m_F_n_GetSelectedChildItemAttr(). Creates the elements of the key that are missing, on
    /// purpose. The selection lives on its own, also when the document is closed or another one
    /// loaded, until the next is made.
    /// @param strKey the element's key; empty finds nothing.
    /// @return how many were selected; 0 also when no element was found or made, the selection
    /// being as before then.
    int m_F_n_SelectChildNodes(CStringW strKey);

    /// Reads an element of the selection.
    /// @param nIndex its zero-based index. The index equal to the selection's length, and any index
    /// while there is no selection, throw `_com_error` with `E_POINTER`, on purpose.
    /// @param strAttrName an attribute's name.
    /// @param strValue receives the attribute's value, empty when there is none.
    /// @param strTagName receives the element's tag name, in which characters outside the system's
    /// ANSI code page are replaced, on purpose. It is left alone when no element was read.
    /// @return the value's length in characters; 0 when there is no such attribute, the document is
    /// not open, or the index is negative or greater than the selection's length.
    int m_F_n_GetSelectedChildItemAttr(int nIndex, CStringW strAttrName, CStringW& strValue,
                                       CStringW& strTagName);

    /// Selects nodes of the whole document. Leaves the object's selection alone.
    /// @param strExpression an expression, which is evaluated with the document as its context; the
    /// rules of keys do not hold. So a relative one begins with the document element's name:
    /// `root/Device`.
    /// @return the nodes, in a list that may be empty; null when the document is not open. The
    /// caller owns the reference. Its nodes can be read with s_S_GetNodeVal().
    NodeListPtr m_S_SelectNodesByKey(CStringW strExpression);

private:
    ElementPtr m_F_p_FindNode(CStringW strKey, bool bCreate);
    bool m_F_b_ForceCreateMissPath(CStringW strKey);

    DocumentPtr vm_pDoc;
    bool vm_bOpen;
    NodeListPtr vm_pSelection;
};

static_assert(sizeof(CXmlObj) == 3 * sizeof(void*),
              "an XML document is two interface pointers with its open flag between them");
