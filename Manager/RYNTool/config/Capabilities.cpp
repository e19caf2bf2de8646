#include "config/Capabilities.h"

#include "platform/vsk/SorvexUtil.h"

Capabilities::Capabilities()
    : vendor(SorvexRadiosGetRadioVendor()), radio(SorvexRadiosGetRadio()), product(SorvexRadiosGetProduct()) {}

std::shared_ptr<const Capabilities> Capabilities::create() {
    return std::make_unique<const Capabilities>();
}

bool Capabilities::isRadio7To9() const {
    return radio - 7 <= 2;
}

bool Capabilities::isRadio9() const {
    return radio == 9;
}
