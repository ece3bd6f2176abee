#include "ZRObject.h"

ZRObject::~ZRObject() = default;
