/// @file
/// Base64 (RFC 4648 section 4) of the credentials of Basic authentication (RFC 2617).
#pragma once

#include <cstddef>
#include <string_view>

namespace ostrel::net
{

/// The characters, without a terminator, of the Base64 text of @p byteCount bytes.
constexpr std::size_t Base64Length(std::size_t byteCount)
{
    return byteCount / 3 * 4 + (byteCount % 3 != 0 ? 4 : 0);
}

/// Writes the Base64 text of user name, colon and password, and a terminator. @p out has room for
/// Base64Length() of them and one more.
void EncodeCredentials(std::string_view user, std::string_view password, char* out);

/// As EncodeCredentials(), into @p capacity bytes (at least 1). Credentials whose text does not fit
/// become an empty text, for half a text would be the text of other credentials.
void EncodeCredentialsBounded(std::string_view user, std::string_view password, char* out,
                              std::size_t capacity);

}  // namespace ostrel::net
