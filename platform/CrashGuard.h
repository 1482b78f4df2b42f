// Runs a call and answers whether it crashed: an access violation, a division by zero, an illegal
// instruction, a stack overflow or a C++ exception inside the call ends it with `false` instead of the
// process. Structured exceptions on Windows, signals elsewhere.
#pragma once

namespace platform {

// Runs call(context). False when it crashed; everything it held (memory, locks) is then lost, so a guarded
// call must hold nothing that others wait for. May be nested, and runs on any thread; faults outside a guard
// go to the handlers that were installed before the first guarded call. abort() is no crash: it ends the
// process.
bool RunGuarded(void (*call)(void*), void* context) noexcept;

template <typename Call>
bool RunGuarded(Call&& call) noexcept {
  auto* target = &call;  // of a function or of an object that can be called
  return RunGuarded([](void* context) { (**static_cast<decltype(target)*>(context))(); }, &target);
}

}  // namespace platform
