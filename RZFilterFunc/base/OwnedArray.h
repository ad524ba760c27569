#pragma once

#include <cstddef>
#include <memory>

// Ownership of the arrays behind the exported classes' public raw pointers.
// A class keeps its `T*` member (callers read it directly); every allocation
// is staged in a std::unique_ptr<T[]> until it is handed over, and every
// release goes back through one, so a throwing allocation leaks nothing and no
// array is freed twice. Internal to the library.
namespace rzf {

// count elements, default-initialised (arithmetic types are left unset).
template <typename T>
std::unique_ptr<T[]> MakeArray(std::size_t count) {
    return std::unique_ptr<T[]>(new T[count]);
}

// count elements, value-initialised (zero for arithmetic types).
template <typename T>
std::unique_ptr<T[]> MakeZeroedArray(std::size_t count) {
    return std::unique_ptr<T[]>(new T[count]());
}

// Frees the array owner points at (if any) and nulls owner.
template <typename T>
void FreeArray(T*& owner) noexcept {
    std::unique_ptr<T[]> released(owner);
    owner = nullptr;
}

// Hands fresh over to owner, freeing the array owner held before.
template <typename T>
void ResetArray(T*& owner, std::unique_ptr<T[]> fresh) noexcept {
    std::unique_ptr<T[]> previous(owner);
    owner = fresh.release();
}

}  // namespace rzf
