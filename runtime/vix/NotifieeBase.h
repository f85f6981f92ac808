#pragma once
// A reactor attached to one entity (Notifier). Deliveries can be switched off
// and on (a state machine's hasNotificationActive). Detaches itself when
// destroyed.
namespace Vix {

class Notifier;

class NotifieeBase {
 public:
  NotifieeBase() = default;
  NotifieeBase(NotifieeBase const&) = delete;
  NotifieeBase& operator=(NotifieeBase const&) = delete;
  virtual ~NotifieeBase();

  bool notificationActive() const { return active_; }
  void notificationActiveIs(bool a) { active_ = a; }

 protected:
  void attach(Notifier const* n);
  void detach();

 private:
  friend class Notifier;
  Notifier const* notifier_ = nullptr;
  bool active_ = true;
};

}  // namespace Vix
