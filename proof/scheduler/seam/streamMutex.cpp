// In the place of the platform's threads.cpp: an sfMutex takes turns too. Its header is installed, and has the
// system's mutex in it, which stays unused.

#include "Datasource/platform/threads.h"
#include "scheduler/turnPrimitives.h"

void sfMutex::lock(LockType /*type*/, const char* /*file*/, int /*line*/) { proof::lockRecursively(this); }
void sfMutex::unlock(const char* /*file*/, int /*line*/) noexcept { proof::unlockRecursively(this); }

msgBaseData::~msgBaseData() = default;
void* msgBaseData::getMsgData() const { return msgData_; }
void msgBaseData::setMsgData(void* data) { msgData_ = data; }

void CallBackObject::setCallbackData(void* data) { callbackData_ = data; }
void* CallBackObject::getCallbackData() const { return callbackData_; }
