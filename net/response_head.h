/// @file
/// Judging a received HTTP response. All of these take it as text, which ends where ResponseText()
/// ends it, and read nothing outside.
#pragma once

#include <cstddef>
#include <string_view>

namespace ostrel::net
{

/// The length that counts as announced when a response announces none.
constexpr int kDefaultLength = 4194304;

/// The received bytes as text: they end at the first zero byte.
std::string_view ResponseText(const char* received, std::size_t count);

bool HasLineEnd(std::string_view text);

/// Whether " 200 " stands anywhere in the text.
bool SaysOk(std::string_view text);

/// Whether " 401 " stands anywhere in the text.
bool SaysUnauthorized(std::string_view text);

/// The number after the first "Content-Length: ", or if there is none "Content-length: ", at least
/// 0; kDefaultLength if there is neither.
int AnnouncedLength(std::string_view text);

/// Where the body starts: after the first CR LF CR LF, or else after the first LF LF; npos if there
/// is neither.
std::size_t BodyStart(std::string_view text);

/// Whether @p count received bytes hold a whole 200 answer: whatever came after them could not
/// change what it comes to.
bool IsWholeAnswer(const char* received, std::size_t count);

/// The decimal number at the start of the text as `atol` reads it where `long` has 32 bits: white
/// space and a sign may stand before it, what follows is ignored, no digits are 0, and what does
/// not fit is the nearest number that does.
int LeadingNumber(std::string_view text);

}  // namespace ostrel::net
