#include "conform/probe/obey.h"

#include <chrono>
#include <string>
#include <thread>

#include "protocol/log_lines.h"

namespace probe {
namespace {

void SayOddLines() {
  const std::string longest(100'000, 'x');
  for (const int level : {0, 1, 2, 3, 4, 8, 255, -1}) {
    const auto odd = static_cast<LOGLEVEL>(level);
    for (const char* text :
         {"", "%", "\n\n", "[PROTOCOL  ] ", "\x1b[31mred\x07\xff\xfe", longest.c_str(),
          "[PROTOCOL  ] Read >> HTTPS GET >> 99999999999999 : x(1) - 1ms",
          "[PROTOCOL  ] Process >> \nnot hexadecimal", "[PROTOCOL  ] Process >> \n00",
          "[PROTOCOL  ] Process >> x(1"}) {
      Say(odd, "%s", text);
    }
  }
}

}  // namespace

AERROR CallHost(const Orders& orders, const std::function<AERROR()>& call) {
  if (!orders.Has("thread")) return call();
  AERROR code = FAILED;
  std::jthread([&] { code = call(); }).join();
  return code;
}

AERROR Obey(const char* slot, const std::function<AERROR(const Orders& orders)>& work) {
  const Orders orders(slot);
  std::this_thread::sleep_for(std::chrono::milliseconds(orders.Number("slow", 0)));
  if (orders.Has("lines")) {
    const std::jthread beside(SayOddLines);
    SayOddLines();
  }
  if (orders.Has("die")) Die();
  if (orders.Has("code")) return static_cast<AERROR>(orders.Number("code", FAILED));
  const AERROR code = work(orders);
  if (orders.Has("die-after")) Die();
  return static_cast<AERROR>(orders.Number("done-code", code));
}

}  // namespace probe
