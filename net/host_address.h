/// @file
/// Name lookup.
#pragma once

namespace ostrel::net
{

/// The IPv4 address, in host byte order, of a host name or dotted address of up to 127 characters;
/// all ones when it is unknown, too long or null.
unsigned int LookUpHost(const char* host);

}  // namespace ostrel::net
