/// @file
/// Where the methods stand in the tables of the DOM's interfaces.
#pragma once

#include <cstddef>

namespace ostrel::test
{

struct DomSlots
{
    std::size_t queryInterface;
    std::size_t interfaceSupportsErrorInfo;
    std::size_t documentCreateElement;
    std::size_t documentGetParseError;
    std::size_t documentGetUrl;
    std::size_t documentGetXml;
    std::size_t documentLoad;
    std::size_t documentLoadXml;
    std::size_t elementGetAttributes;
    std::size_t elementGetChildNodes;
    std::size_t elementGetText;
    std::size_t elementSetAttribute;
    std::size_t listGetLength;
    std::size_t listNextNode;
    std::size_t parseErrorGetErrorCode;
};

extern const DomSlots kDomSlots;

}  // namespace ostrel::test
