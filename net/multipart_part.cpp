#include "net/multipart_part.h"

#include <algorithm>

namespace ostrel::net
{

namespace
{

constexpr std::string_view kDeclaration = "boundary=";
constexpr std::size_t kLineEndSize = 2;
constexpr std::size_t kHyphens = 2;

}  // namespace

std::string_view DeclaredBoundary(std::string_view head)
{
    const std::size_t declaration = head.find(kDeclaration);
    if (declaration == std::string_view::npos)
    {
        return {};
    }
    const std::string_view rest = head.substr(declaration + kDeclaration.size());
    const std::size_t length = rest.find('\r');
    if (length == std::string_view::npos || rest.size() - length < kLineEndSize)
    {
        return {};
    }
    return rest.substr(0, length + kLineEndSize);
}

PartPlace FindPart(std::string_view held, std::string_view boundary, std::size_t from)
{
    const std::size_t first = held.find(boundary, from);
    if (first == std::string_view::npos)
    {
        return {false, 0, 0};
    }
    const std::size_t start = first + boundary.size();
    const std::size_t next = held.find(boundary, start);
    if (next == std::string_view::npos)
    {
        return {false, 0, 0};
    }
    const std::size_t between = next - start;
    return {true, start, between - std::min(between, kHyphens)};
}

}  // namespace ostrel::net
