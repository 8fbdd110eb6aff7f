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

std::string JsonWriter::number (float v)
{
    if (! std::isfinite (v))
        return "null";
    char buffer[32];
    auto result = std::to_chars (buffer, buffer + sizeof (buffer), v);
    return std::string (buffer, result.ptr);
}

std::string JsonWriter::number (double v)
{
    if (! std::isfinite (v))
        return "null";
    char buffer[40];
    auto result = std::to_chars (buffer, buffer + sizeof (buffer), v);
    return std::string (buffer, result.ptr);
}

std::string JsonWriter::quoted (std::string_view text)
{
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
