#pragma once

namespace kiv {

/// The deleter of an object that a C library frees with `free`: `std::unique_ptr<X509, Freer<X509_free>>`.
template <auto free>
struct Freer {
    template <class T>
    void operator()(T* object) const {
        free(object);
    }
};

} // namespace kiv
