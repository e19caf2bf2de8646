#include "platform/vsk/SorvexUtil.h"

#include "Platform/vsk/DeviceDescription.h"

namespace {

bool isBuild(vsk::Build build) {
    return vsk::deviceDescription().build == build;
}

}  // namespace

bool SorvexUtilIsInternalBuild() {
    return isBuild(vsk::Build::Internal);
}

bool SorvexUtilIsCarrierBuild() {
    return isBuild(vsk::Build::Carrier);
}

bool SorvexUtilIsVendorBuild() {
    return isBuild(vsk::Build::Vendor);
}

bool SorvexUtilTraceAllowed() {
    return vsk::deviceDescription().traceAllowed;
}

std::uint32_t SorvexRadiosGetRadio() {
    return vsk::deviceDescription().radio;
}

std::uint32_t SorvexRadiosGetRadioVendor() {
    return vsk::deviceDescription().radioVendor;
}

std::uint32_t SorvexRadiosGetProduct() {
    return vsk::deviceDescription().product;
}

std::uint32_t SorvexCapabilitiesRadioCoreDumpGetPersonality() {
    return vsk::deviceDescription().coreDumpPersonality;
}
