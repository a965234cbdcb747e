// cf::Boolean: the two booleans; every true is the same object.
#ifndef PLATFORM_VALUES_BOOLEAN_H_
#define PLATFORM_VALUES_BOOLEAN_H_

#include "platform/values/object.h"

namespace cf {

class Boolean final : public Object {
 public:
  static const Ref<Boolean>& True();
  static const Ref<Boolean>& False();
  bool value() const { return value_; }

 private:
  explicit Boolean(bool value) : Object(TypeID::kBoolean), value_(value) {}
  // A reference never released, so a static tree released late at exit
  // still finds its booleans.
  static const Ref<Boolean>* Immortal(bool value);
  const bool value_;
};

inline const Boolean* Object::AsBoolean() const {
  return type_ == TypeID::kBoolean ? static_cast<const Boolean*>(this) : nullptr;
}

}  // namespace cf

#endif  // PLATFORM_VALUES_BOOLEAN_H_
