#include "Datasource/platform/threads.h"

void sfMutex::lock(LockType /*type*/, const char* /*file*/, int /*line*/) { mutex_.lock(); }
void sfMutex::unlock(const char* /*file*/, int /*line*/) noexcept { mutex_.unlock(); }

msgBaseData::~msgBaseData() = default;
void* msgBaseData::getMsgData() const { return msgData_; }
void msgBaseData::setMsgData(void* data) { msgData_ = data; }

void CallBackObject::setCallbackData(void* data) { callbackData_ = data; }
void* CallBackObject::getCallbackData() const { return callbackData_; }
