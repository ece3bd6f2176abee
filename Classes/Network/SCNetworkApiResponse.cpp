#include "SCNetworkApiResponse.h"

SCNetworkApiResponseProtocol::~SCNetworkApiResponseProtocol() = default;
