#include "cli/JsonWriter.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace orvane::cli
{
JsonWriter::JsonWriter (std::ostream& o, bool shouldBePretty) : out (o), pretty (shouldBePretty) {}

void JsonWriter::newline (int indent)
{
    if (! pretty)
        return;
    out << '\n';
    for (int i = 0; i < indent; ++i)
        out << "  ";
}

void JsonWriter::beforeValue (bool isContainer)
{
    if (keyPending)
    {
        keyPending = false;
        return;
    }
    if (stack.empty())
        return;

    auto& level = stack.back();
    if (level.count > 0)
        out << ',';
    if (isContainer)
        level.brokeLines = true;
    if (level.brokeLines)
        newline ((int) stack.size());
    else if (level.count > 0 && pretty)
        out << ' ';
    ++level.count;
}

void JsonWriter::beginObject()
{
    beforeValue (true);
    out << '{';
    stack.push_back ({ false, 0, true });
}

void JsonWriter::endObject()
{
    const bool empty = stack.back().count == 0;
    stack.pop_back();
    if (! empty)
        newline ((int) stack.size());
    out << '}';
}

void JsonWriter::beginArray()
{
    beforeValue (true);
    out << '[';
    stack.push_back ({ true, 0, false });
}

void JsonWriter::endArray()
{
    const bool broke = stack.back().brokeLines && stack.back().count > 0;
    stack.pop_back();
    if (broke)
        newline ((int) stack.size());
    out << ']';
}

void JsonWriter::key (std::string_view name)
{
    auto& level = stack.back();
    if (level.count > 0)
        out << ',';
    newline ((int) stack.size());
    ++level.count;
    out << quoted (name) << (pretty ? ": " : ":");
    keyPending = true;
}

void JsonWriter::scalar (const std::string& text)
{
    beforeValue (false);
    out << text;
}

void JsonWriter::value (float v) { scalar (number (v)); }
void JsonWriter::value (double v) { scalar (number (v)); }
void JsonWriter::value (int64_t v) { scalar (std::to_string (v)); }
void JsonWriter::value (bool v) { scalar (v ? "true" : "false"); }
void JsonWriter::value (std::string_view text) { scalar (quoted (text)); }
void JsonWriter::null() { scalar ("null"); }

void JsonWriter::floatArray (const float* values, size_t count)
{
    beginArray();
    for (size_t i = 0; i < count; ++i)
        value (values[i]);
    endArray();
}

namespace
{
std::string notFinite (double v)
{
    return std::isnan (v) ? "\"NaN\"" : v > 0 ? "\"Infinity\"" : "\"-Infinity\"";
}
} // namespace

std::string JsonWriter::number (float v)
{
    if (! std::isfinite (v))
        return notFinite (v);
    char buffer[32];
    auto result = std::to_chars (buffer, buffer + sizeof (buffer), v);
    return std::string (buffer, result.ptr);
}

std::string JsonWriter::number (double v)
{
    if (! std::isfinite (v))
        return notFinite (v);
    char buffer[40];
    auto result = std::to_chars (buffer, buffer + sizeof (buffer), v);
    return std::string (buffer, result.ptr);
}

std::string JsonWriter::validUtf8 (std::string_view text)
{
    std::string s;
    s.reserve (text.size());
    const auto* p = reinterpret_cast<const unsigned char*> (text.data());
    const size_t n = text.size();
    for (size_t i = 0; i < n;)
    {
        const unsigned c = p[i];
        const int length = c < 0x80 ? 1 : (c >= 0xC2 && c <= 0xDF) ? 2 : (c >= 0xE0 && c <= 0xEF) ? 3 : (c >= 0xF0 && c <= 0xF4) ? 4 : 0;
        bool good = length > 0 && i + (size_t) length <= n;
        for (int k = 1; good && k < length; ++k)
            good = (p[i + (size_t) k] & 0xC0) == 0x80;
        // The second byte bounds what the first allows: no overlong forms, no surrogates, nothing past U+10FFFF.
        if (good && length > 2)
        {
            const unsigned d = p[i + 1];
            good = ! ((c == 0xE0 && d < 0xA0) || (c == 0xED && d > 0x9F) || (c == 0xF0 && d < 0x90) || (c == 0xF4 && d > 0x8F));
        }
        if (good)
        {
            s.append (text.substr (i, (size_t) length));
            i += (size_t) length;
        }
        else
        {
            s += "\xEF\xBF\xBD";
            ++i;
        }
    }
    return s;
}

std::string JsonWriter::quoted (std::string_view raw)
{
    const std::string text = validUtf8 (raw);
    std::string s;
    s.reserve (text.size() + 2);
    s += '"';
    for (char ch : text)
    {
        const auto c = static_cast<unsigned char> (ch);
        switch (c)
        {
            case '"': s += "\\\""; break;
            case '\\': s += "\\\\"; break;
            case '\b': s += "\\b"; break;
            case '\f': s += "\\f"; break;
            case '\n': s += "\\n"; break;
            case '\r': s += "\\r"; break;
            case '\t': s += "\\t"; break;
            default:
                if (c < 0x20)
                {
                    char escaped[8];
                    std::snprintf (escaped, sizeof (escaped), "\\u%04x", (unsigned) c);
                    s += escaped;
                }
                else
                {
                    s += (char) c;
                }
        }
    }
    s += '"';
    return s;
}
} // namespace orvane::cli
