#include "EngineFixture.h"

#include "Const.h"
#include "Log.h"

namespace vela::test {

EngineFixture::EngineFixture() {
    Const::setTargetRoot(root.root());
    applyLogMode("DEBUG");
}

EngineFixture::~EngineFixture() {
    applyLogMode("NORMAL");
    Const::setTargetRoot("/");
}

}  // namespace vela::test
