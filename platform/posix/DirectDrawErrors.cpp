// Words for the DirectDraw failures that this platform layer answers.
#include "platform/DirectDraw.h"

const char* DXGetErrorDescriptionA(HRESULT code) {
  switch (code) {
    case DD_OK:
      return "No error";
    case DDERR_UNSUPPORTED:
      return "The operation is not supported";
    case DDERR_GENERIC:
      return "The display cannot be reached any more";
    case DDERR_OUTOFMEMORY:
      return "There is not enough memory";
    case DDERR_INVALIDPARAMS:
      return "An argument is out of range";
    case DDERR_INVALIDCAPS:
      return "There is no such kind of surface";
    case DDERR_INVALIDOBJECT:
      return "The window is gone, or the object belongs to another display";
    case DDERR_INVALIDPIXELFORMAT:
      return "The pixel format is not supported here";
    case DDERR_INVALIDRECT:
      return "The rectangle is empty or leaves the surface";
    case DDERR_SURFACEBUSY:
      return "The surface is locked";
    case DDERR_CANTLOCKSURFACE:
      return "The surface has no memory that could be locked";
    case DDERR_SURFACELOST:
      return "The surface's memory is lost and must be restored";
    case DDERR_WASSTILLDRAWING:
      return "Another copy from the surface is still going on";
    case DDERR_INVALIDDIRECTDRAWGUID:
      return "There is no display device with this identifier";
    case DDERR_NODIRECTDRAWHW:
      return "There is no display";
    case DDERR_NOCLIPPERATTACHED:
      return "No window is set for what is to be shown";
    case DDERR_NOTLOCKED:
      return "The surface is not locked";
    default:
      return "Unknown error";
  }
}
