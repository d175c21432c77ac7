#pragma once

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <cstdint>
#include <string>

/// Writes one JSON text. A member is a key and a value.
class Json_Writer {
public:
    Json_Writer() {
        writer.SetIndent(' ', 2);
        writer.SetFormatOptions(rapidjson::kFormatSingleLineArray);
    }

    /// A text that is not UTF-8 gets question marks for all beyond ASCII.
    void value(const std::string& text);
    void value(const char* text) { value(std::string(text)); }
    void value(std::uint64_t number) { writer.Uint64(number); }
    void value(std::int64_t number) { writer.Int64(number); }
    void value(bool truth) { writer.Bool(truth); }
    /// The fewest digits that are read as just this number. JSON has no infinity and no NaN: these
    /// are null.
    void value(double number);

    template <class Value>
    void member(const char* key, const Value& content) {
        writer.Key(key);
        value(content);
    }
    void null_member(const char* key) {
        writer.Key(key);
        writer.Null();
    }

    /// Writes an object whose members `fill()` writes; with a key, as a member itself.
    template <class Fill>
    void object(const Fill& fill) {
        writer.StartObject();
        fill();
        writer.EndObject();
    }
    template <class Fill>
    void object(const char* key, const Fill& fill) {
        writer.Key(key);
        object(fill);
    }

    /// Writes a list whose values `fill()` writes; with a key, as a member.
    template <class Fill>
    void list(const Fill& fill) {
        writer.StartArray();
        fill();
        writer.EndArray();
    }
    template <class Fill>
    void list(const char* key, const Fill& fill) {
        writer.Key(key);
        list(fill);
    }
    template <class Values>
    void values(const char* key, const Values& all) {
        list(key, [&] {
            for (const auto& each : all) {
                value(each);
            }
        });
    }

    [[nodiscard]] std::string text() const { return std::string(buffer.GetString()) + '\n'; }

private:
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer{buffer};
};
