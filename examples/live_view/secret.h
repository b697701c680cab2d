// Keeps a password in a file without showing it.
#pragma once

#include <optional>
#include <string>

// The text, enciphered under a key of this program's, as hexadecimal digits; no two calls give the
// same. It hides the text from whoever looks over the user's shoulder, not from someone who has
// both the file and this program. Throws std::runtime_error when this machine has no such cipher.
std::wstring Encipher(const std::string& text);

// Nothing when that is not what Encipher() returns.
std::optional<std::string> Decipher(const std::wstring& digits);
