#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <type_traits>

#include "Datasource/file.h"
#include "Datasource/refCount.h"

namespace {

/// A counted object that says how many of its kind live, and whose copying can be made to raise.
class Counted : public VORN_RefCntObject {
 public:
  explicit Counted(int theValue = 0) : value(theValue) { ++alive; }
  Counted(const Counted& other) : VORN_RefCntObject(other), value(other.value) {
    if (copyRaises) {
      throw std::runtime_error("copy");
    }
    ++alive;
  }
  Counted& operator=(const Counted& other) = default;
  ~Counted() override { --alive; }

  int count() const { return fCount; }
  bool shareableField() const { return fShareable; }
  void setCount(std::int32_t count) { fCount = count; }

  int value;
  RefCountPtr<Counted> child;

  static inline int alive = 0;
  static inline bool copyRaises = false;
};

class Derived final : public Counted {
 public:
  explicit Derived(bool& destroyed) : destroyed_(destroyed) {}
  ~Derived() override { destroyed_ = true; }

 private:
  bool& destroyed_;
};

class CountedTest : public ::testing::Test {
 protected:
  void SetUp() override { Counted::alive = 0; }
  void TearDown() override {
    Counted::copyRaises = false;
    EXPECT_EQ(Counted::alive, 0) << "an object was left behind, or deleted twice";
  }
};

using RefCntObject = CountedTest;
using RefCountPointer = CountedTest;
using RefCountUnshared = CountedTest;

TEST_F(RefCntObject, ANewObjectHasCountZeroAndIsShareable) {
  const Counted object;
  EXPECT_EQ(object.count(), 0);
  EXPECT_TRUE(object.shareableField());
  EXPECT_EQ(object.IsShareable(), 1U);
}

TEST_F(RefCntObject, ACopyStartsUnreferencedAndShareable) {
  Counted object;
  object.AddReference();
  object.AddReference();
  object.MarkUnshareable();
  const Counted copy(object);
  EXPECT_EQ(copy.count(), 0);
  EXPECT_EQ(copy.IsShareable(), 1U);
}

TEST_F(RefCntObject, AssignmentCopiesTheCountAndTheFlag_KeptAsIs) {
  Counted source;
  source.AddReference();
  source.AddReference();
  source.AddReference();
  source.MarkUnshareable();
  Counted target;
  Counted& result = (target = source);
  EXPECT_EQ(&result, &target);
  EXPECT_EQ(target.count(), 3);
  EXPECT_EQ(target.IsShareable(), 0U);
}

TEST_F(RefCntObject, IsSharedIsZeroAtCountsZeroAndOneAndOneFromTwoOn) {
  Counted object;
  EXPECT_EQ(object.IsShared(), 0);
  object.AddReference();
  EXPECT_EQ(object.IsShared(), 0);
  object.AddReference();
  EXPECT_EQ(object.IsShared(), 1);
  object.AddReference();
  EXPECT_EQ(object.IsShared(), 1);
}

TEST_F(RefCntObject, IsSharedReadsANegativeCountAsUnsigned_KeptAsIs) {
  Counted object;
  object.RemoveReference();
  EXPECT_EQ(object.count(), -1);
  EXPECT_EQ(object.IsShared(), 1);
}

TEST_F(RefCntObject, RemovingAtCountZeroDoesNotDelete) {
  auto object = std::make_unique<Counted>();
  object->RemoveReference();
  EXPECT_EQ(Counted::alive, 1);
}

TEST_F(RefCntObject, TheCountWrapsWithoutOverflow) {
  Counted object;
  object.setCount(INT32_MAX);
  object.AddReference();
  EXPECT_EQ(object.count(), INT32_MIN);
  object.RemoveReference();
  EXPECT_EQ(object.count(), INT32_MAX);
}

TEST_F(RefCntObject, TheRemovalThatReachesZeroDeletesThroughTheVirtualDestructor) {
  bool destroyed = false;
  VORN_RefCntObject* object = new Derived(destroyed);
  object->AddReference();
  object->AddReference();
  object->RemoveReference();
  EXPECT_FALSE(destroyed);
  object->RemoveReference();
  EXPECT_TRUE(destroyed);
}

TEST_F(RefCntObject, MarkUnshareableIsOneWay) {
  Counted object;
  object.MarkUnshareable();
  object.MarkUnshareable();
  EXPECT_EQ(object.IsShareable(), 0U);
}

TEST_F(RefCountPointer, ANewPointerIsEmpty) {
  const RefCountPtr<Counted> pointer;
  EXPECT_EQ(pointer.IsValid(), 0);
  EXPECT_EQ(pointer.get(), nullptr);
}

TEST_F(RefCountPointer, ConstructionRaisesCountZeroToOneAndDestructionDeletes) {
  auto* object = new Counted;
  {
    const RefCountPtr<Counted> pointer(object);
    EXPECT_EQ(object->count(), 1);
    EXPECT_EQ(pointer.IsValid(), 1);
  }
  EXPECT_EQ(Counted::alive, 0);
}

TEST_F(RefCountPointer, CopiesShareTheObjectAndCountIt) {
  const RefCountPtr<Counted> first(new Counted);
  {
    const RefCountPtr<Counted> second(first);
    EXPECT_EQ(second.get(), first.get());
    EXPECT_EQ(first->count(), 2);
  }
  EXPECT_EQ(first->count(), 1);
}

TEST_F(RefCountPointer, AssigningTheObjectItAlreadyHoldsChangesNoCount) {
  RefCountPtr<Counted> pointer(new Counted);
  const RefCountPtr<Counted> other(pointer);
  pointer = pointer.get();
  pointer = other;
  RefCountPtr<Counted>& self = pointer;
  pointer = self;
  EXPECT_EQ(pointer->count(), 2);
}

TEST_F(RefCountPointer, AssigningAnotherObjectDropsTheOldOne) {
  RefCountPtr<Counted> pointer(new Counted(1));
  auto* next = new Counted(2);
  RefCountPtr<Counted>& result = (pointer = next);
  EXPECT_EQ(&result, &pointer);
  EXPECT_EQ(pointer->value, 2);
  EXPECT_EQ(next->count(), 1);
  EXPECT_EQ(Counted::alive, 1);
}

TEST_F(RefCountPointer, AssigningNullToTheLastHolderDeletesTheObjectAndEmptiesThePointer) {
  RefCountPtr<Counted> pointer(new Counted);
  pointer = nullptr;
  EXPECT_EQ(Counted::alive, 0);
  EXPECT_EQ(pointer.IsValid(), 0);
}

TEST_F(RefCountPointer, AssigningAnEmptyPointerDropsTheObject) {
  RefCountPtr<Counted> pointer(new Counted);
  const RefCountPtr<Counted> empty;
  pointer = empty;
  EXPECT_EQ(Counted::alive, 0);
  EXPECT_EQ(pointer.IsValid(), 0);
}

// The old object died with the pointer it held, before its reference to the new one was copied.
TEST_F(RefCountPointer, AssigningFromAPointerInsideTheObjectItAloneHolds) {
  RefCountPtr<Counted> list(new Counted(1));
  list->child = new Counted(2);
  list->child->child = new Counted(3);
  list = list->child;
  EXPECT_EQ(list->value, 2);
  EXPECT_EQ(list->count(), 1);
  list = list->child.get();
  EXPECT_EQ(list->value, 3);
  EXPECT_EQ(list->count(), 1);
  EXPECT_EQ(Counted::alive, 1);
}

TEST_F(RefCountPointer, ComparingWithTheRawPointerItHoldsIsOneForEqualAndZeroForUnequal) {
  auto* object = new Counted;
  const RefCountPtr<Counted> pointer(object);
  EXPECT_EQ(pointer == object, 1);
  EXPECT_EQ(pointer != object, 0);
  const Counted other;
  EXPECT_EQ(pointer == &other, 0);
  EXPECT_EQ(pointer != &other, 1);
}

TEST_F(RefCountPointer, ComparingPointersComparesIdentity) {
  const RefCountPtr<Counted> first(new Counted);
  const RefCountPtr<Counted> same(first);
  const RefCountPtr<Counted> other(new Counted);
  EXPECT_EQ(first == same, 1);
  EXPECT_EQ(first != same, 0);
  EXPECT_EQ(first == other, 0);
  EXPECT_EQ(first != other, 1);
  static_assert(std::is_same_v<decltype(first == same), int>);
  static_assert(std::is_same_v<decltype(first != first.get()), int>);
}

TEST_F(RefCountPointer, AccessGivesTheObjectFromConstAndNonConstPointers) {
  auto* object = new Counted(7);
  RefCountPtr<Counted> pointer(object);
  const RefCountPtr<Counted>& constant = pointer;
  EXPECT_EQ(pointer.get(), object);
  EXPECT_EQ(constant.get(), object);
  EXPECT_EQ(&*pointer, object);
  EXPECT_EQ(&*constant, object);
  EXPECT_EQ(pointer->value, 7);
  constant->value = 8;
  EXPECT_EQ(object->value, 8);
}

TEST_F(RefCountPointer, AnUnshareableObjectIsCopiedWhenAnotherPointerIsMadeFromIt) {
  const RefCountPtr<Counted> first(new Counted(5));
  first->MarkUnshareable();
  const RefCountPtr<Counted> second(first);
  EXPECT_NE(second.get(), first.get());
  EXPECT_EQ(second->value, 5);
  EXPECT_EQ(first->count(), 1);
  EXPECT_EQ(second->count(), 1);
  EXPECT_EQ(second->IsShareable(), 1U);
}

TEST_F(RefCountPointer, AnUnshareableObjectIsCopiedOnAssignment) {
  const RefCountPtr<Counted> first(new Counted(5));
  first->MarkUnshareable();
  RefCountPtr<Counted> second(new Counted(6));
  second = first;
  EXPECT_NE(second.get(), first.get());
  EXPECT_EQ(second->value, 5);
  EXPECT_EQ(second->count(), 1);
}

TEST_F(RefCountPointer, AFreshUnshareableObjectStaysWithItsMaker_KeptAsIs) {
  const auto made = std::make_unique<Counted>(5);
  made->MarkUnshareable();
  const RefCountPtr<Counted> pointer(made.get());
  EXPECT_NE(pointer.get(), made.get());
  EXPECT_EQ(made->count(), 0);
}

TEST_F(RefCountPointer, ACopyThatRaisesInAnAssignmentLeavesThePointerAsItWas) {
  const RefCountPtr<Counted> source(new Counted(1));
  source->MarkUnshareable();
  RefCountPtr<Counted> pointer(new Counted(2));
  Counted::copyRaises = true;
  EXPECT_THROW(pointer = source, std::runtime_error);
  EXPECT_EQ(pointer->value, 2);
  EXPECT_EQ(pointer->count(), 1);
}

TEST_F(RefCountUnshared, AnObjectHeldOnceIsReturnedAsItIs) {
  RefCountPtr<Counted> pointer(new Counted);
  Counted* const object = pointer.get();
  EXPECT_EQ(pointer.Unshared(), object);
  EXPECT_EQ(object->count(), 1);
}

TEST_F(RefCountUnshared, AnObjectHeldTwiceIsReplacedByACopyAndBothCountsAreOne) {
  RefCountPtr<Counted> pointer(new Counted(9));
  const RefCountPtr<Counted> other(pointer);
  Counted* const mine = pointer.Unshared();
  EXPECT_EQ(mine, pointer.get());
  EXPECT_NE(mine, other.get());
  EXPECT_EQ(mine->value, 9);
  EXPECT_EQ(mine->count(), 1);
  EXPECT_EQ(other->count(), 1);
}

TEST_F(RefCountUnshared, ACopyThatRaisesLeavesPointerAndCountsAsTheyWere) {
  RefCountPtr<Counted> pointer(new Counted);
  const RefCountPtr<Counted> other(pointer);
  Counted::copyRaises = true;
  EXPECT_THROW(pointer.Unshared(), std::runtime_error);
  EXPECT_EQ(pointer.get(), other.get());
  EXPECT_EQ(other->count(), 2);
}

TEST(RefCountFile, TheRawFileIsHeldThroughTheSamePointer) {
  RefCountPtr<VORN_File> first(new VORN_File);
  const RefCountPtr<VORN_File> second(first);
  EXPECT_EQ(first->IsShared(), 1);
  EXPECT_EQ(second == first, 1);
  first = nullptr;
  EXPECT_EQ(second->IsShared(), 0);
}

TEST(RefCountFile, AFileOnTheStackIsHeldOnceByItsMakerSoThatNoPointerDeletesIt) {
  VORN_File file;
  file.AddReference();
  { const RefCountPtr<VORN_File> pointer(&file); }
  EXPECT_EQ(file.IsShared(), 0);
}

static_assert(std::is_polymorphic_v<VORN_RefCntObject>);
static_assert(!std::is_polymorphic_v<RefCountPtr<VORN_File>>);
static_assert(sizeof(RefCountPtr<VORN_File>) == sizeof(void*));
static_assert(!std::is_default_constructible_v<VORN_RefCntObject>);
static_assert(!std::is_copy_constructible_v<VORN_RefCntObject>);
static_assert(std::is_copy_assignable_v<VORN_RefCntObject>);
static_assert(!std::is_copy_assignable_v<VORN_File>);
static_assert(std::is_base_of_v<VORN_RefCntObject, VORN_File>);

}  // namespace
