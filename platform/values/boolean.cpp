#include "platform/values/boolean.h"

namespace cf {

const Ref<Boolean>* Boolean::Immortal(bool value) {
  ++internal::live_objects;
  return new Ref<Boolean>(new Boolean(value));
}

const Ref<Boolean>& Boolean::True() {
  static const Ref<Boolean>* value = Immortal(true);
  return *value;
}

const Ref<Boolean>& Boolean::False() {
  static const Ref<Boolean>* value = Immortal(false);
  return *value;
}

}  // namespace cf
