// The flat interface for fisheye views and picture enhancement.
#include "Tavrix.h"

#include "PortCall.h"

using tavrix::PlayerPort;

bool Tavrix_SR_SetConfig(int32_t nPort, int32_t nConfigType, const void* pConfig) {
    return tavrix::RunOnPort(nPort, [=](PlayerPort& port) { return port.SrSetConfig(nConfigType, pConfig); });
}

bool Tavrix_SR_Rotate(int32_t nPort, const TAVRIX_SR_ROTATE* pRotate) {
    return tavrix::RunOnPort(nPort, [=](PlayerPort& port) { return port.SrRotate(pRotate); });
}

bool Tavrix_SR_Capture(int32_t nPort, int32_t nFormat, const char* szFileName) {
    return tavrix::RunOnPort(nPort, [=](PlayerPort& port) { return port.SrCapture(nFormat, szFileName); });
}

bool Tavrix_SR_SetViewKind(int32_t nPort, int32_t nKind) {
    return tavrix::RunOnPort(nPort, [=](PlayerPort& port) { return port.SrSetViewKind(nKind); });
}

bool Tavrix_SR_SetOutputSize(int32_t nPort, int32_t nWidth, int32_t nHeight) {
    return tavrix::RunOnPort(nPort, [=](PlayerPort& port) { return port.SrSetOutputSize(nWidth, nHeight); });
}

bool Tavrix_SR_GetView(int32_t nPort, TAVRIX_SR_VIEW* pView) {
    return tavrix::RunOnPort(nPort, [=](PlayerPort& port) { return port.SrGetView(pView); });
}

bool Tavrix_VIE_SetModuConfig(int32_t nPort, int32_t nModule, bool bEnable) {
    return tavrix::RunOnPort(nPort, [=](PlayerPort& port) { return port.VieSetModuConfig(nModule, bEnable); });
}

bool Tavrix_VIE_SetRegion(int32_t nPort, int32_t nRegionNum, const TAVRIX_RECT* pRect) {
    return tavrix::RunOnPort(nPort, [=](PlayerPort& port) { return port.VieSetRegion(nRegionNum, pRect); });
}

bool Tavrix_VIE_SetParaConfig(int32_t nPort, const TAVRIX_VIE_PARAM* pParam) {
    return tavrix::RunOnPort(nPort, [=](PlayerPort& port) { return port.VieSetParaConfig(pParam); });
}
