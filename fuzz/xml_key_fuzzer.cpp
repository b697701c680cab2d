// Any key: its components are those of a plain split at the slashes, and are views into the key.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "xml/node_path.h"

namespace
{

void Require(bool isTrue)
{
    if (!isTrue)
    {
        std::abort();
    }
}

std::vector<std::wstring> SplitPlainly(const std::wstring& path)
{
    std::vector<std::wstring> components;
    std::wstring component;
    for (const wchar_t letter : path + L'/')
    {
        if (letter != L'/')
        {
            component += letter;
        }
        else if (!component.empty())
        {
            components.push_back(component);
            component.clear();
        }
    }
    return components;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // Of exactly its size, so that the sanitizer sees a look behind its end.
    const std::unique_ptr<wchar_t[]> letters(new wchar_t[size]);
    for (std::size_t i = 0; i < size; ++i)
    {
        letters[i] = data[i];
    }
    const std::wstring_view key(letters.get(), size);

    const std::wstring_view below = ostrel::xml::BelowDocumentElement(key);
    const bool isAbsolute = !key.empty() && key[0] == L'/';
    const std::size_t second = isAbsolute ? key.find(L'/', 1) : std::wstring_view::npos;
    Require(below == (second == std::wstring_view::npos ? key : key.substr(second + 1)));

    std::vector<std::wstring> components;
    std::wstring_view rest = key;
    for (std::wstring_view name = ostrel::xml::TakeComponent(rest); !name.empty();
         name = ostrel::xml::TakeComponent(rest))
    {
        Require(name.data() >= key.data() && name.data() + name.size() <= key.data() + size);
        components.emplace_back(name);
    }
    Require(components == SplitPlainly(std::wstring(key)));
    return 0;
}
