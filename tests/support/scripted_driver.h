#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulator/room/room.h"
#include "tests/support/hex.h"

/// A device driver that answers control requests with what a test lays down, and refuses the others. Bytes
/// that a driver of good manners would never send can be sent by this one.
class ScriptedDriver {
 public:
  using Answer = std::function<void(simulator::ControlRequest&)>;

  /// An open handle in the room that stands.
  HANDLE open() { return simulator::Room::current()->addHandle(handle("driver")); }
  /// What to register as the opening of a device name.
  std::unique_ptr<simulator::Handle> handle(std::string name, DWORD access = GENERIC_READ | GENERIC_WRITE) {
    return std::make_unique<Device>(*this, std::move(name), access);
  }

  /// Answers a request with these bytes, as many as fit.
  void answers(DWORD code, std::vector<std::uint8_t> data) {
    script[code] = [data](simulator::ControlRequest& request) {
      request.reply(std::span(data).first(std::min(data.size(), request.outSize)));
    };
  }
  void does(DWORD code, Answer answer) { script[code] = std::move(answer); }
  void refuses(DWORD code, DWORD error) {
    script[code] = [error](simulator::ControlRequest&) { throw simulator::WindowsError{error}; };
  }

  /// The bytes that came with requests.
  std::vector<std::string> requests;

 private:
  class Device : public simulator::Handle {
   public:
    Device(ScriptedDriver& driver, std::string name, DWORD access)
        : Handle(std::move(name), access), owner(driver) {}
    void control(simulator::ControlRequest& request) override {
      const auto found = owner.script.find(request.code);
      if (found == owner.script.end()) return Handle::control(request);
      if (request.inSize > 0)
        owner.requests.push_back(briefHex(std::span(request.buffer).first(request.inSize)));
      found->second(request);
    }

   private:
    ScriptedDriver& owner;
  };

  std::map<DWORD, Answer> script;
};
