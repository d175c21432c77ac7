#include "gather_failures.h"

#include "Event_File_Format.h"
#include "reading/Run_Account.h"

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

enum class Kind : char {
    invalid_argument = 'a',
    length_error = 'l',
    impossible_size = 's',
    other = 'o'
};

Kind kind_of(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::invalid_argument&) {
        return Kind::invalid_argument;
    } catch (const std::length_error&) {
        return Kind::length_error;
    } catch (const orven::Impossible_Size&) {
        return Kind::impossible_size;
    } catch (...) {
        return Kind::other;
    }
}

std::exception_ptr make_failure(Kind kind, const std::string& message) {
    switch (kind) {
        case Kind::invalid_argument:
            return std::make_exception_ptr(std::invalid_argument(message));
        case Kind::length_error:
            return std::make_exception_ptr(std::length_error(message));
        case Kind::impossible_size:
            return std::make_exception_ptr(orven::Impossible_Size());
        default:
            return std::make_exception_ptr(std::runtime_error(message));
    }
}

}  // namespace

std::vector<File_Failure> gather_failures(const Ranks& ranks, std::span<const File_Failure> own) {
    std::ostringstream sent;
    for (const auto& [file, failure] : own) {
        const std::string message = message_of(failure);
        sent << file << static_cast<char>(kind_of(failure)) << message.size() << ':' << message;
    }
    const std::vector<char> all = ranks.gather(sent.str());
    std::istringstream received(std::string(all.begin(), all.end()));
    std::vector<File_Failure> failures;
    std::size_t file = 0;
    std::size_t length = 0;
    char kind = 0;
    char colon = 0;
    while (received >> file >> kind >> length >> colon) {
        std::string message(length, '\0');
        received.read(message.data(), static_cast<std::streamsize>(length));
        failures.push_back({file, make_failure(static_cast<Kind>(kind), message)});
    }
    return failures;
}
