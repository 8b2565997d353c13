#include "support/EngineFixture.h"

X500Time utcTimeOf(const std::string& text) {
    X500Time when;
    Buffer b;
    b.writeASN1Header(X500Time::kUTCTime, static_cast<unsigned int>(text.size()));
    b.writeBytes(reinterpret_cast<const unsigned char*>(text.data()),
                 static_cast<unsigned int>(text.size()));
    EXPECT_TRUE(when.unwrapASN1(&b)) << text;
    return when;
}
