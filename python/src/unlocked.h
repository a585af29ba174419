// Work without Python's lock, and its end.
#pragma once

#include <Python.h>
#include <cxxabi.h>
#include <unistd.h>

namespace python {

// When the interpreter ends, it ends each other thread that asks for the lock, by unwinding its stack. Destructors that
// it meets there would end the process, or change Python's objects without the lock: a thread waits here for the end of
// the process instead. `call` has no objects of C++ in it.
template <typename Call>
auto unless_python_ends(Call call) {
  try {
    return call();
  } catch (const abi::__forced_unwind&) {
    for (;;) pause();
  }
}

// While it lives, Python's other threads run.
class Unlocked {
 public:
  Unlocked() : thread_(PyEval_SaveThread()) {}
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;
  ~Unlocked() {
    unless_python_ends([this] { PyEval_RestoreThread(thread_); });
  }

 private:
  PyThreadState* thread_;
};

}  // namespace python
