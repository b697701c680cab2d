#include <atlstr.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <cwctype>

namespace
{

// The run-time's functions for each of the two character types. Formatting is the platform's own
// (the names with the underscore), where the meaning of %s follows the type of the format.
int CompareText(const char* a, const char* b)
{
    return std::strcmp(a, b);
}

int CompareText(const wchar_t* a, const wchar_t* b)
{
    return std::wcscmp(a, b);
}

int CompareTextNoCase(const char* a, const char* b)
{
    return _stricmp(a, b);
}

int CompareTextNoCase(const wchar_t* a, const wchar_t* b)
{
    return _wcsicmp(a, b);
}

void ToUpper(char* text)
{
    _strupr(text);
}

void ToUpper(wchar_t* text)
{
    _wcsupr(text);
}

void ToLower(char* text)
{
    _strlwr(text);
}

void ToLower(wchar_t* text)
{
    _wcslwr(text);
}

bool IsSpace(char ch)
{
    return std::isspace(static_cast<unsigned char>(ch)) != 0;
}

bool IsSpace(wchar_t ch)
{
    return std::iswspace(ch) != 0;
}

int FormattedLength(const char* format, va_list args)
{
    return _vscprintf(format, args);
}

int FormattedLength(const wchar_t* format, va_list args)
{
    return _vscwprintf(format, args);
}

int FormatText(char* out, size_t room, const char* format, va_list args)
{
    return _vsnprintf(out, room, format, args);
}

int FormatText(wchar_t* out, size_t room, const wchar_t* format, va_list args)
{
    return _vsnwprintf(out, room, format, args);
}

// Converts through the ANSI code page; without room, only counts the characters.
int ConvertText(const char* text, int length, wchar_t* out, int room)
{
    return MultiByteToWideChar(CP_ACP, 0, text, length, out, room);
}

int ConvertText(const wchar_t* text, int length, char* out, int room)
{
    return WideCharToMultiByte(CP_ACP, 0, text, length, out, room, nullptr, nullptr);
}

template <typename Char>
int BoundedLength(const Char* text, int limit)
{
    return static_cast<int>(std::find(text, text + limit, Char()) - text);
}

template <typename Char>
int LengthOf(const Char* text)
{
    const size_t length = text == nullptr ? 0 : std::char_traits<Char>::length(text);
    if (length > INT_MAX)
    {
        AfxThrowMemoryException();
    }
    return static_cast<int>(length);
}

template <typename Char>
std::basic_string_view<Char> ViewOf(const Char* text)
{
    return {text, static_cast<size_t>(LengthOf(text))};
}

void Require(bool isValid)
{
    if (!isValid)
    {
        AfxThrowInvalidArgException();
    }
}

// An index within a string, or -1 for the standard library's "not found".
int IndexOf(size_t position)
{
    return position == std::string_view::npos ? -1 : static_cast<int>(position);
}

}  // namespace

// ---- Construction and assignment ----------------------------------------------------------------

template <typename BaseType>
CStringT<BaseType>::CStringT() = default;

template <typename BaseType>
CStringT<BaseType>::CStringT(const CStringT& strSrc) : m_text(strSrc.GetView())
{
}

template <typename BaseType>
CStringT<BaseType>::CStringT(CStringT&& strSrc) : m_text(std::move(strSrc.GetText()))
{
}

template <typename BaseType>
CStringT<BaseType>::CStringT(const CStringT<YCHAR>& strSrc)
    : CStringT(strSrc.GetString(), strSrc.GetLength())
{
}

template <typename BaseType>
CStringT<BaseType>::CStringT(PCXSTR pszSrc) : m_text(ViewOf(pszSrc))
{
}

template <typename BaseType>
CStringT<BaseType>::CStringT(PCYSTR pszSrc) : CStringT(pszSrc, LengthOf(pszSrc))
{
}

template <typename BaseType>
CStringT<BaseType>::CStringT(const unsigned char* pszSrc)
    : CStringT(reinterpret_cast<const char*>(pszSrc))
{
}

template <typename BaseType>
CStringT<BaseType>::CStringT(PCXSTR pch, int nLength)
{
    Require(nLength == 0 || (nLength > 0 && pch != nullptr));
    m_text.assign(pch, pch + nLength);
}

template <typename BaseType>
CStringT<BaseType>::CStringT(PCYSTR pch, int nLength)
{
    Require(nLength == 0 || (nLength > 0 && pch != nullptr));
    if (nLength > 0)
    {
        m_text.resize(static_cast<size_t>(ConvertText(pch, nLength, nullptr, 0)));
        ConvertText(pch, nLength, m_text.data(), static_cast<int>(m_text.size()));
    }
}

template <typename BaseType>
CStringT<BaseType>::CStringT(char ch, int nLength)
{
    const CStringT single(&ch, 1);
    for (; nLength > 0; --nLength)
    {
        m_text += single.m_text;
    }
}

template <typename BaseType>
CStringT<BaseType>::CStringT(wchar_t ch, int nLength)
{
    const CStringT single(&ch, 1);
    for (; nLength > 0; --nLength)
    {
        m_text += single.m_text;
    }
}

template <typename BaseType>
CStringT<BaseType>::~CStringT() = default;

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator=(const CStringT& strSrc)
{
    GetText() = strSrc.GetView();
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator=(CStringT&& strSrc)
{
    GetText().swap(strSrc.GetText());
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator=(const CStringT<YCHAR>& strSrc)
{
    return *this = CStringT(strSrc);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator=(PCXSTR pszSrc)
{
    GetText() = ViewOf(pszSrc);
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator=(PCYSTR pszSrc)
{
    return *this = CStringT(pszSrc);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator=(const unsigned char* pszSrc)
{
    return *this = CStringT(pszSrc);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator=(char ch)
{
    return *this = CStringT(ch);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator=(wchar_t ch)
{
    return *this = CStringT(ch);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator+=(const CStringT& str)
{
    GetText() += str.GetView();
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator+=(const CStringT<YCHAR>& str)
{
    return *this += CStringT(str);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator+=(PCXSTR pszSrc)
{
    GetText() += ViewOf(pszSrc);
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator+=(PCYSTR pszSrc)
{
    return *this += CStringT(pszSrc);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator+=(char ch)
{
    return *this += CStringT(ch);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator+=(unsigned char ch)
{
    return *this += static_cast<char>(ch);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::operator+=(wchar_t ch)
{
    return *this += CStringT(ch);
}

// ---- The text as a whole ------------------------------------------------------------------------

template <typename BaseType>
int CStringT<BaseType>::GetLength() const
{
    return static_cast<int>(GetView().size());
}

template <typename BaseType>
bool CStringT<BaseType>::IsEmpty() const
{
    return GetView().empty();
}

template <typename BaseType>
void CStringT<BaseType>::Empty()
{
    GetText().clear();
    m_text.shrink_to_fit();
}

template <typename BaseType>
typename CStringT<BaseType>::PCXSTR CStringT<BaseType>::GetString() const
{
    return m_text.c_str();
}

template <typename BaseType>
CStringT<BaseType>::operator PCXSTR() const
{
    return GetString();
}

template <typename BaseType>
void CStringT<BaseType>::SetString(PCXSTR pszSrc)
{
    Require(pszSrc != nullptr);
    GetText() = ViewOf(pszSrc);
}

template <typename BaseType>
void CStringT<BaseType>::SetString(PCXSTR pszSrc, int nLength)
{
    Require(pszSrc != nullptr && nLength >= 0);
    GetText().assign(pszSrc, static_cast<size_t>(BoundedLength(pszSrc, nLength)));
}

template <typename BaseType>
void CStringT<BaseType>::Append(PCXSTR pszSrc)
{
    *this += pszSrc;
}

template <typename BaseType>
void CStringT<BaseType>::Append(PCXSTR pszSrc, int nLength)
{
    Require(nLength == 0 || (nLength > 0 && pszSrc != nullptr));
    GetText().append(pszSrc, static_cast<size_t>(BoundedLength(pszSrc, nLength)));
}

template <typename BaseType>
void CStringT<BaseType>::Append(const CStringT& strSrc)
{
    *this += strSrc;
}

template <typename BaseType>
void CStringT<BaseType>::AppendChar(XCHAR ch)
{
    GetText() += ch;
}

template <typename BaseType>
void CStringT<BaseType>::Truncate(int nNewLength)
{
    Require(nNewLength >= 0 && nNewLength <= GetLength());
    GetText().resize(static_cast<size_t>(nNewLength));
}

// ---- Characters ---------------------------------------------------------------------------------

template <typename BaseType>
typename CStringT<BaseType>::XCHAR CStringT<BaseType>::GetAt(int iChar) const
{
    Require(iChar >= 0 && iChar <= GetLength());
    return m_text.c_str()[iChar];
}

template <typename BaseType>
typename CStringT<BaseType>::XCHAR CStringT<BaseType>::operator[](int iChar) const
{
    return GetAt(iChar);
}

template <typename BaseType>
void CStringT<BaseType>::SetAt(int iChar, XCHAR ch)
{
    Require(iChar >= 0 && iChar < GetLength());
    GetText()[static_cast<size_t>(iChar)] = ch;
}

// ---- The buffer ---------------------------------------------------------------------------------

template <typename BaseType>
typename CStringT<BaseType>::PXSTR CStringT<BaseType>::GetBuffer(int nMinBufferLength)
{
    Text& text = GetText();
    const size_t length = text.size();
    text.resize(std::max(length, static_cast<size_t>(std::max(nMinBufferLength, 0))));
    m_nSpare = text.size() - length;
    return text.data();
}

template <typename BaseType>
typename CStringT<BaseType>::PXSTR CStringT<BaseType>::GetBufferSetLength(int nLength)
{
    Require(nLength >= 0);
    GetText().resize(static_cast<size_t>(nLength));
    return m_text.data();
}

template <typename BaseType>
void CStringT<BaseType>::ReleaseBuffer(int nNewLength)
{
    const int room = static_cast<int>(m_text.size());
    ReleaseBufferSetLength(nNewLength == -1 ? BoundedLength(m_text.c_str(), room) : nNewLength);
}

template <typename BaseType>
void CStringT<BaseType>::ReleaseBufferSetLength(int nNewLength)
{
    Require(nNewLength >= 0 && static_cast<size_t>(nNewLength) <= m_text.size());
    m_nSpare = 0;
    m_text.resize(static_cast<size_t>(nNewLength));
}

// ---- Comparison ---------------------------------------------------------------------------------

template <typename BaseType>
int CStringT<BaseType>::Compare(PCXSTR psz) const
{
    return CompareText(GetString(), ViewOf(psz).empty() ? CStringT().GetString() : psz);
}

template <typename BaseType>
int CStringT<BaseType>::CompareNoCase(PCXSTR psz) const
{
    return CompareTextNoCase(GetString(), ViewOf(psz).empty() ? CStringT().GetString() : psz);
}

// ---- Parts --------------------------------------------------------------------------------------

template <typename BaseType>
CStringT<BaseType> CStringT<BaseType>::Mid(int iFirst) const
{
    return Mid(iFirst, GetLength());
}

template <typename BaseType>
CStringT<BaseType> CStringT<BaseType>::Mid(int iFirst, int nCount) const
{
    const int first = std::clamp(iFirst, 0, GetLength());
    const int count = std::clamp(nCount, 0, GetLength() - first);
    return CStringT(GetString() + first, count);
}

template <typename BaseType>
CStringT<BaseType> CStringT<BaseType>::Left(int nCount) const
{
    return Mid(0, nCount);
}

template <typename BaseType>
CStringT<BaseType> CStringT<BaseType>::Right(int nCount) const
{
    const int count = std::clamp(nCount, 0, GetLength());
    return Mid(GetLength() - count, count);
}

template <typename BaseType>
CStringT<BaseType> CStringT<BaseType>::SpanIncluding(PCXSTR pszCharSet) const
{
    const int end = IndexOf(GetView().find_first_not_of(ViewOf(pszCharSet)));
    return end < 0 ? *this : Left(end);
}

template <typename BaseType>
CStringT<BaseType> CStringT<BaseType>::SpanExcluding(PCXSTR pszCharSet) const
{
    const int end = IndexOf(GetView().find_first_of(ViewOf(pszCharSet)));
    return end < 0 ? *this : Left(end);
}

template <typename BaseType>
CStringT<BaseType> CStringT<BaseType>::Tokenize(PCXSTR pszTokens, int& iStart) const
{
    const View separators = ViewOf(pszTokens);
    const size_t begin = iStart < 0
                             ? View::npos
                             : GetView().find_first_not_of(separators, static_cast<size_t>(iStart));
    if (begin == View::npos)
    {
        iStart = -1;
        return CStringT();
    }
    // The last token leaves the end of the string as the place to go on, and only the call after it
    // reports -1: clients take what comes with -1 for no token.
    const size_t end = std::min(GetView().find_first_of(separators, begin), GetView().size());
    iStart = static_cast<int>(std::min(end + 1, GetView().size()));
    return Mid(static_cast<int>(begin), static_cast<int>(end - begin));
}

// ---- Search -------------------------------------------------------------------------------------

template <typename BaseType>
int CStringT<BaseType>::Find(PCXSTR pszSub, int iStart) const
{
    if (pszSub == nullptr || iStart < 0 || iStart > GetLength())
    {
        return -1;
    }
    return IndexOf(GetView().find(ViewOf(pszSub), static_cast<size_t>(iStart)));
}

template <typename BaseType>
int CStringT<BaseType>::Find(XCHAR ch, int iStart) const
{
    return iStart < 0 ? -1 : IndexOf(GetView().find(ch, static_cast<size_t>(iStart)));
}

template <typename BaseType>
int CStringT<BaseType>::ReverseFind(XCHAR ch) const
{
    return IndexOf(GetView().rfind(ch));
}

template <typename BaseType>
int CStringT<BaseType>::FindOneOf(PCXSTR pszCharSet) const
{
    return IndexOf(GetView().find_first_of(ViewOf(pszCharSet)));
}

// ---- Changes ------------------------------------------------------------------------------------

template <typename BaseType>
int CStringT<BaseType>::Replace(XCHAR chOld, XCHAR chNew)
{
    Text& text = GetText();
    const auto count = std::count(text.begin(), text.end(), chOld);
    std::replace(text.begin(), text.end(), chOld, chNew);
    return chOld == chNew ? 0 : static_cast<int>(count);
}

template <typename BaseType>
int CStringT<BaseType>::Replace(PCXSTR pszOld, PCXSTR pszNew)
{
    const View oldText = ViewOf(pszOld);
    if (oldText.empty())
    {
        return 0;
    }
    const View source = GetView();
    Text result;
    int count = 0;
    size_t from = 0;
    for (size_t at; (at = source.find(oldText, from)) != View::npos; from = at + oldText.size())
    {
        result += source.substr(from, at - from);
        result += ViewOf(pszNew);
        ++count;
    }
    result += source.substr(from);
    GetText().swap(result);
    return count;
}

template <typename BaseType>
int CStringT<BaseType>::Remove(XCHAR chRemove)
{
    Text& text = GetText();
    const auto end = std::remove(text.begin(), text.end(), chRemove);
    const auto count = text.end() - end;
    text.erase(end, text.end());
    return static_cast<int>(count);
}

template <typename BaseType>
int CStringT<BaseType>::Insert(int iIndex, PCXSTR psz)
{
    const int index = std::clamp(iIndex, 0, GetLength());
    GetText().insert(static_cast<size_t>(index), ViewOf(psz));
    return GetLength();
}

template <typename BaseType>
int CStringT<BaseType>::Insert(int iIndex, XCHAR ch)
{
    const int index = std::clamp(iIndex, 0, GetLength());
    GetText().insert(static_cast<size_t>(index), 1, ch);
    return GetLength();
}

template <typename BaseType>
int CStringT<BaseType>::Delete(int iIndex, int nCount)
{
    const int index = std::clamp(iIndex, 0, GetLength());
    GetText().erase(static_cast<size_t>(index), static_cast<size_t>(std::max(nCount, 0)));
    return GetLength();
}

template <typename BaseType>
template <typename Predicate>
void CStringT<BaseType>::TrimLeftWhile(Predicate isTarget)
{
    Text& text = GetText();
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), isTarget));
}

template <typename BaseType>
template <typename Predicate>
void CStringT<BaseType>::TrimRightWhile(Predicate isTarget)
{
    Text& text = GetText();
    text.erase(std::find_if_not(text.rbegin(), text.rend(), isTarget).base(), text.end());
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::Trim()
{
    return TrimRight().TrimLeft();
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::Trim(XCHAR chTarget)
{
    return TrimRight(chTarget).TrimLeft(chTarget);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::Trim(PCXSTR pszTargets)
{
    return TrimRight(pszTargets).TrimLeft(pszTargets);
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::TrimLeft()
{
    TrimLeftWhile([](XCHAR ch) { return IsSpace(ch); });
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::TrimLeft(XCHAR chTarget)
{
    TrimLeftWhile([chTarget](XCHAR ch) { return ch == chTarget; });
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::TrimLeft(PCXSTR pszTargets)
{
    const View targets = ViewOf(pszTargets);
    TrimLeftWhile([targets](XCHAR ch) { return targets.find(ch) != View::npos; });
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::TrimRight()
{
    TrimRightWhile([](XCHAR ch) { return IsSpace(ch); });
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::TrimRight(XCHAR chTarget)
{
    TrimRightWhile([chTarget](XCHAR ch) { return ch == chTarget; });
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::TrimRight(PCXSTR pszTargets)
{
    const View targets = ViewOf(pszTargets);
    TrimRightWhile([targets](XCHAR ch) { return targets.find(ch) != View::npos; });
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::MakeUpper()
{
    ToUpper(GetText().data());
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::MakeLower()
{
    ToLower(GetText().data());
    return *this;
}

template <typename BaseType>
CStringT<BaseType>& CStringT<BaseType>::MakeReverse()
{
    std::reverse(GetText().begin(), GetText().end());
    return *this;
}

// ---- Formatting ---------------------------------------------------------------------------------

template <typename BaseType>
void CStringT<BaseType>::Format(PCXSTR pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    try
    {
        FormatV(pszFormat, args);
    }
    catch (...)
    {
        va_end(args);
        throw;
    }
    va_end(args);
}

template <typename BaseType>
void CStringT<BaseType>::FormatV(PCXSTR pszFormat, va_list args)
{
    Require(pszFormat != nullptr);
    va_list counted;
    va_copy(counted, args);
    const int length = FormattedLength(pszFormat, counted);
    va_end(counted);
    Require(length >= 0);
    // The arguments may name this string's own text.
    Text text(static_cast<size_t>(length), XCHAR());
    FormatText(text.data(), text.size() + 1, pszFormat, args);
    GetText().swap(text);
}

template <typename BaseType>
void CStringT<BaseType>::AppendFormat(PCXSTR pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    try
    {
        AppendFormatV(pszFormat, args);
    }
    catch (...)
    {
        va_end(args);
        throw;
    }
    va_end(args);
}

template <typename BaseType>
void CStringT<BaseType>::AppendFormatV(PCXSTR pszFormat, va_list args)
{
    CStringT text;
    text.FormatV(pszFormat, args);
    *this += text;
}

// ---- Inside -------------------------------------------------------------------------------------

template <typename BaseType>
typename CStringT<BaseType>::View CStringT<BaseType>::GetView() const
{
    return View(m_text).substr(0, m_text.size() - m_nSpare);
}

// The text for a change: a lent buffer is taken back first.
template <typename BaseType>
typename CStringT<BaseType>::Text& CStringT<BaseType>::GetText()
{
    m_text.resize(m_text.size() - m_nSpare);
    m_nSpare = 0;
    return m_text;
}

template class CStringT<char>;
template class CStringT<wchar_t>;
