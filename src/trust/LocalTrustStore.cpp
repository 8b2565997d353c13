#include "trust/LocalTrustStore.h"

LocalTrustStore::LocalTrustStore(CryptoDevice* device) : cache(device) {}

LocalTrustStore::~LocalTrustStore() = default;
