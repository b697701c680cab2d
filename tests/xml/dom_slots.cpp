// The interfaces in the form of tables, in which a method has an offset. They exclude the other
// form, so this file knows nothing but the platform.
#define CINTERFACE
#include "xml/dom_slots.h"

#include <windows.h>

#include <msxml2.h>
#include <oaidl.h>

namespace ostrel::test
{

namespace
{

template <class Table, class Method>
std::size_t SlotOf(Method Table::*method)
{
    static const Table table = {};
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&(table.*method)) -
                                    reinterpret_cast<const char*>(&table)) /
           sizeof(void*);
}

}  // namespace

const DomSlots kDomSlots = {
    SlotOf(&IUnknownVtbl::QueryInterface),
    SlotOf(&ISupportErrorInfoVtbl::InterfaceSupportsErrorInfo),
    SlotOf(&IXMLDOMDocumentVtbl::createElement),
    SlotOf(&IXMLDOMDocumentVtbl::get_parseError),
    SlotOf(&IXMLDOMDocumentVtbl::get_url),
    SlotOf(&IXMLDOMDocumentVtbl::get_xml),
    SlotOf(&IXMLDOMDocumentVtbl::load),
    SlotOf(&IXMLDOMDocumentVtbl::loadXML),
    SlotOf(&IXMLDOMElementVtbl::get_attributes),
    SlotOf(&IXMLDOMElementVtbl::get_childNodes),
    SlotOf(&IXMLDOMElementVtbl::get_text),
    SlotOf(&IXMLDOMElementVtbl::setAttribute),
    SlotOf(&IXMLDOMNodeListVtbl::get_length),
    SlotOf(&IXMLDOMNodeListVtbl::nextNode),
    SlotOf(&IXMLDOMParseErrorVtbl::get_errorCode),
};

}  // namespace ostrel::test
