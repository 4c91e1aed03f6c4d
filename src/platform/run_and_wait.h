#pragma once

#include <functional>
#include <future>

namespace orbelin::platform {

// Hands `work` to a queue through `enqueue` and blocks until it has run there.
template <typename Enqueue>
void runAndWait(Enqueue&& enqueue, const std::function<void()>& work) {
  std::promise<void> done;
  enqueue([&] {
    work();
    done.set_value();
  });
  done.get_future().wait();
}

}  // namespace orbelin::platform
