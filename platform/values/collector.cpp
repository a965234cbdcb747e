// Reference counting with synchronous cycle collection (trial deletion after
// Bacon and Rajan). Only arrays and dictionaries can close a cycle, so only
// they become candidates, and only once they hold one of their kind (see
// Release in object.h); strings, booleans and URLs are freed at zero at once.
//
// The colours: black is in use (every Retain paints an object black), purple
// a candidate root - a container released to a count above zero - listed in
// roots_; gray and white are trial deletion's marks during a collection, and
// kCollecting marks members of a garbage cycle being torn down, whose
// releases only count down. Containers keep these marks current by changing
// references only through Ref (containers.h).
//
// Freeing a container is iterative: a release that drops its last reference
// queues it, and the outermost release drains the queue, so a long chain of
// nested containers never deepens the stack. Collection runs only from that
// outermost point, never while an object is half torn down. Any other value
// holds nothing, so it is freed on the spot, queue or no queue: the strings
// of a row go as the row does, one call each.
#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

// The kinds are seen here only so that the compiler may inline their
// destructors into the frees below, which it does on the likely kind.
#include "platform/values/containers.h"
#include "platform/values/object.h"
#include "platform/values/string.h"

namespace cf {

size_t internal::live_objects = 0;

namespace {

bool IsContainer(const Object* object) {
  return object->type() == TypeID::kArray || object->type() == TypeID::kDictionary;
}

}  // namespace

class CycleCollector {
 public:
  static CycleCollector& Get() {
    // Never destroyed: references held by other static objects are released
    // during exit, after any destructor of ours would have run.
    static CycleCollector* collector = new CycleCollector;
    return *collector;
  }

  void Release(Object* object) {
    if (object->color_ == kCollecting) {
      // Part of a garbage cycle being torn down; the collector frees it.
      --object->count_;
      return;
    }
    if (--object->count_ == 0) {
      if (!IsContainer(object)) {
        Free(object);
        return;
      }
      pending_.push_back(object);
    } else if (object->holds_container_) {
      // A garbage cycle is cut off from the rest by a decrement that lands
      // on one of its members and leaves it above zero; at that moment each
      // member holds the next one, a container. So a container that has
      // never held one is in no cycle yet, and should it join one later, the
      // decrement that cuts that cycle off lands on a member holding a
      // container then. Containers of plain values, most of a tree, are thus
      // never buffered.
      PossibleRoot(object);
    }
    if (busy_)
      return;
    busy_ = true;
    Drain();
    if (roots_.size() >= threshold_) {
      Collect();
    } else if (dead_roots_ >= kMinimumThreshold && 2 * dead_roots_ >= roots_.size()) {
      FreeDeadRoots();
    }
    busy_ = false;
  }

  void CollectNow() {
    if (busy_)
      return;
    busy_ = true;
    Collect();
    busy_ = false;
  }

 private:
  static constexpr uint8_t kBlack = Object::kBlack, kGray = Object::kGray, kWhite = Object::kWhite,
                           kPurple = Object::kPurple, kCollecting = Object::kCollecting;
  static constexpr size_t kMinimumThreshold = 1024;

  void PossibleRoot(Object* object) {
    object->color_ = kPurple;
    if (object->buffered_)
      return;
    object->buffered_ = true;
    roots_.push_back(object);
    if (!exit_hook_installed_) {
      exit_hook_installed_ = true;
      std::atexit([] { CollectCycles(); });
    }
  }

  // Frees everything queued, including what each free releases in turn.
  void Drain() {
    while (!pending_.empty()) {
      Object* object = pending_.back();
      pending_.pop_back();
      if (object->buffered_) {
        // Still listed as a candidate: let go of its children now, free the
        // object itself when the candidate list is next walked.
        object->color_ = kBlack;
        object->DropChildren();
        ++dead_roots_;
      } else {
        Free(object);
      }
    }
  }

  static void Free(Object* object) {
    --internal::live_objects;
    delete object;
  }

  template <class Visit>
  static void ForEachContainerChild(Object* object, Visit visit) {
    object->ForEachChild(
        [](Object* child, void* context) {
          if (IsContainer(child))
            (*static_cast<Visit*>(context))(child);
        },
        &visit);
  }

  // Frees the candidates that died while listed. They are shells whose
  // children are gone, so no trial deletion is needed, only a walk of the
  // list; without it the shells of every tree a long-running process drops
  // would wait for the next collection, which a large live tree puts off.
  void FreeDeadRoots() {
    std::erase_if(roots_, [](Object* root) {
      if (root->count_ != 0)
        return false;
      Free(root);
      return true;
    });
    dead_roots_ = 0;
  }

  void Collect() {
    dead_roots_ = 0;
    MarkRoots();
    for (Object* root : roots_)
      Scan(root);
    CollectRoots();
    Drain();
    // Collect again once at least as many candidates gathered as this round
    // had to look at, so the work stays proportional to what is released.
    threshold_ = std::max(kMinimumThreshold, traversed_);
    traversed_ = 0;
  }

  void MarkRoots() {
    std::vector<Object*> kept;
    for (Object* root : roots_) {
      if (root->color_ == kPurple) {
        MarkGray(root);
        kept.push_back(root);
        continue;
      }
      root->buffered_ = false;
      if (root->color_ == kBlack && root->count_ == 0)
        Free(root);
    }
    roots_ = std::move(kept);
  }

  // Subtracts the references that come from inside the subgraph.
  void MarkGray(Object* start) {
    if (start->color_ == kGray)
      return;
    start->color_ = kGray;
    stack_.push_back(start);
    while (!stack_.empty()) {
      Object* object = stack_.back();
      stack_.pop_back();
      ++traversed_;
      ForEachContainerChild(object, [this](Object* child) {
        --child->count_;
        if (child->color_ != kGray) {
          child->color_ = kGray;
          stack_.push_back(child);
        }
      });
    }
  }

  // Whatever still has references from outside is alive, and so is
  // everything it reaches; the rest turns white.
  void Scan(Object* start) {
    stack_.push_back(start);
    while (!stack_.empty()) {
      Object* object = stack_.back();
      stack_.pop_back();
      if (object->color_ != kGray)
        continue;
      if (object->count_ > 0) {
        ScanBlack(object);
        continue;
      }
      object->color_ = kWhite;
      ForEachContainerChild(object, [this](Object* child) { stack_.push_back(child); });
    }
  }

  void ScanBlack(Object* start) {
    std::vector<Object*> stack{start};
    start->color_ = kBlack;
    while (!stack.empty()) {
      Object* object = stack.back();
      stack.pop_back();
      ForEachContainerChild(object, [&stack](Object* child) {
        ++child->count_;
        if (child->color_ != kBlack) {
          child->color_ = kBlack;
          stack.push_back(child);
        }
      });
    }
  }

  void CollectRoots() {
    std::vector<Object*> roots = std::exchange(roots_, {});
    for (Object* root : roots)
      root->buffered_ = false;
    std::vector<Object*> garbage;
    for (Object* root : roots) {
      if (root->color_ != kWhite)
        continue;
      root->color_ = kCollecting;
      stack_.push_back(root);
      while (!stack_.empty()) {
        Object* object = stack_.back();
        stack_.pop_back();
        garbage.push_back(object);
        ForEachContainerChild(object, [this](Object* child) {
          if (child->color_ == kWhite) {
            child->color_ = kCollecting;
            stack_.push_back(child);
          }
        });
      }
    }
    // Give back the references trial deletion took away, so that dropping
    // the children below releases each of them exactly once.
    for (Object* object : garbage) {
      ForEachContainerChild(object, [](Object* child) { ++child->count_; });
    }
    for (Object* object : garbage)
      object->DropChildren();
    for (Object* object : garbage)
      Free(object);
  }

  std::vector<Object*> roots_;
  std::vector<Object*> pending_;
  std::vector<Object*> stack_;
  size_t threshold_ = kMinimumThreshold;
  // Candidates freed but for their shells, still listed in roots_.
  size_t dead_roots_ = 0;
  size_t traversed_ = 0;
  bool busy_ = false;
  bool exit_hook_installed_ = false;
};

void internal::ReleaseToCollector(Object* object) {
  CycleCollector::Get().Release(object);
}
void CollectCycles() {
  CycleCollector::Get().CollectNow();
}
size_t LiveObjectCount() {
  return internal::live_objects;
}

// What holds nothing visits nothing; containers override it.
void Object::ForEachChild(void (*)(Object*, void*), void*) {}

}  // namespace cf
