#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// Writes one JSON text. A member is a key and a value.
class Json_Writer {
public:
    Json_Writer();
    ~Json_Writer();
    Json_Writer(const Json_Writer&) = delete;
    Json_Writer& operator=(const Json_Writer&) = delete;

    /// A text that is not UTF-8 gets question marks for all beyond ASCII.
    void value(const std::string& text);
    void value(const char* text) { value(std::string(text)); }
    void value(std::uint64_t number);
    void value(std::int64_t number);
    void value(bool truth);
    /// The fewest digits that are read as just this number. JSON has no infinity and no NaN: these
    /// are null.
    void value(double number);

    template <class Value>
    void member(const char* key, const Value& content) {
        write_key(key);
        value(content);
    }
    void null_member(const char* key);

    /// Writes an object whose members `fill()` writes; with a key, as a member itself.
    template <class Fill>
    void object(const Fill& fill) {
        start_object();
        fill();
        end_object();
    }
    template <class Fill>
    void object(const char* key, const Fill& fill) {
        write_key(key);
        object(fill);
    }

    /// Writes a list whose values `fill()` writes; with a key, as a member.
    template <class Fill>
    void list(const Fill& fill) {
        start_list();
        fill();
        end_list();
    }
    template <class Fill>
    void list(const char* key, const Fill& fill) {
        write_key(key);
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

    [[nodiscard]] std::string text() const;

private:
    void write_key(const char* key);
    void start_object();
    void end_object();
    void start_list();
    void end_list();

    struct Text;  ///< hides the JSON library
    std::unique_ptr<Text> json;
};
