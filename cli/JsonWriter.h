#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::cli
{
// A small streaming JSON writer. Objects break lines and indent; arrays of plain values
// stay on one line, arrays of objects or arrays break lines. Numbers that JSON cannot
// hold are written as the strings "Infinity", "-Infinity" and "NaN" (which JavaScript's
// Number() and Python's float() read back), and text that is not valid UTF-8 has each bad
// byte replaced by U+FFFD, so the output always parses and says what the value was.
class JsonWriter
{
public:
    explicit JsonWriter (std::ostream& out, bool pretty = true);

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();

    // The name of the next member; only inside an object.
    void key (std::string_view name);

    void value (float v);
    void value (double v);
    void value (int v) { value ((int64_t) v); }
    void value (int64_t v);
    void value (bool v);
    void value (std::string_view text);
    void value (const char* text) { value (std::string_view (text)); }
    void null();

    // A whole array of floats on one line.
    void floatArray (const float* values, size_t count);
    void floatArray (const std::vector<float>& values) { floatArray (values.data(), values.size()); }

    // Shortest text that reads back as the same number; the quoted names when not finite.
    static std::string number (float v);
    static std::string number (double v);
    // The quoted, escaped form of a UTF-8 string.
    static std::string quoted (std::string_view text);
    // The text with every byte that is not part of a well-formed UTF-8 sequence (overlong
    // forms, surrogates and code points past U+10FFFF included) replaced by U+FFFD.
    static std::string validUtf8 (std::string_view text);

    // Depth of open containers; 0 once the document is complete.
    int depth() const { return (int) stack.size(); }

private:
    struct Level
    {
        bool isArray = false;
        int count = 0;
        bool brokeLines = false;
    };

    void beforeValue (bool isContainer);
    void newline (int indent);
    void scalar (const std::string& text);

    std::ostream& out;
    bool pretty;
    bool keyPending = false;
    std::vector<Level> stack;
};
} // namespace orvane::cli
