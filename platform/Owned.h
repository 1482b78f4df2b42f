// Owner of one reference to a device object: anything that is created through an out pointer and let go with
// Release().
#pragma once

#include <utility>

template <typename T>
class Owned {
 public:
  constexpr Owned() = default;
  // Takes over the caller's reference.
  constexpr explicit Owned(T* object) : m_pObject(object) {}
  ~Owned() { Reset(); }
  Owned(Owned&& other) noexcept : m_pObject(std::exchange(other.m_pObject, nullptr)) {}
  Owned& operator=(Owned&& other) noexcept {
    if (this != &other) {
      Reset();
      m_pObject = std::exchange(other.m_pObject, nullptr);
    }
    return *this;
  }

  T* Get() const { return m_pObject; }
  T* operator->() const { return m_pObject; }
  explicit operator bool() const { return m_pObject != nullptr; }

  // Empty before the object is released, so that a crash inside Release() cannot lead to a second one.
  void Reset() noexcept {
    if (T* object = std::exchange(m_pObject, nullptr); object != nullptr) object->Release();
  }
  // The out pointer for a creating call; what was held is released first.
  T** Receive() {
    Reset();
    return &m_pObject;
  }

 private:
  T* m_pObject = nullptr;
};
