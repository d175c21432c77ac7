#include "conversions.h"

#include <exception>
#include <new>
#include <stdexcept>
#include <system_error>

namespace py = pybind11;

namespace {

void raise(PyObject* type, std::string_view text) {
    PyErr_SetObject(type, text_from(text).ptr());
}

void raise_memory_error(std::string_view text) {
    constexpr std::string_view name = "std::bad_alloc: ";
    text.remove_prefix(text.starts_with(name) ? name.size() : 0);
    raise(PyExc_MemoryError, text);
}

void raise_system_error(const std::system_error& error) {
    const py::tuple arguments = py::make_tuple(error.code().value(), text_from(error.what()));
    PyErr_SetObject(PyExc_OSError, arguments.ptr());
}

}  // namespace

std::vector<std::string> paths_from(const py::list& paths) {
    std::vector<std::string> found;
    for (const py::handle path : paths) {
        found.emplace_back(path.cast<py::bytes>());
    }
    return found;
}

py::str text_from(std::string_view text) {
    return py::reinterpret_steal<py::str>(
        PyUnicode_DecodeFSDefaultAndSize(text.data(), static_cast<py::ssize_t>(text.size())));
}

py::list pairs_from(std::span<const Faulty_File> files) {
    py::list pairs;
    for (const auto& [path, reason] : files) {
        pairs.append(py::make_tuple(text_from(path), text_from(reason)));
    }
    return pairs;
}

void translate_exceptions() {
    py::register_local_exception_translator([](std::exception_ptr exception) {
        try {
            std::rethrow_exception(std::move(exception));
        } catch (const py::builtin_exception&) {
            throw;  // is a std::runtime_error
        } catch (const std::bad_alloc& error) {
            raise_memory_error(error.what());
        } catch (const std::invalid_argument& error) {
            raise(PyExc_ValueError, error.what());
        } catch (const std::system_error& error) {
            raise_system_error(error);
        } catch (const std::runtime_error& error) {
            raise(PyExc_OSError, error.what());
        }
    });
}
