// http_product.h - how the server names itself on the wire.
#ifndef HTTP_HTTP_PRODUCT_H
#define HTTP_HTTP_PRODUCT_H

namespace http_product {

// The value of every Server line.
inline constexpr char server[] =
    "Linux/2.x.x, UPnP/1.0, qrConnect UPnP SDK/1.0, QuorelMedia UPnP SDK/1.1";

}

#endif
