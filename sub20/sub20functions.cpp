// SPDX-License-Identifier: MIT
#include "sub20/sub20functions.h"

namespace {

/// Resolves one symbol after the other and remembers the first one that is missing.
class Resolver
{
public:
    explicit Resolver(const SymbolLookup &lookUp) : symbolAt(lookUp) {}

    template<typename Pointer> void resolve(Pointer &pointer, const char *symbol)
    {
        pointer = reinterpret_cast<Pointer>(symbolAt(symbol));
        if (!pointer && missing.isEmpty())
            missing = QString::fromLatin1(symbol);
    }
    QString firstMissing() const { return missing; }

private:
    const SymbolLookup &symbolAt;
    QString missing;
};

} // namespace

QString resolveSub20Functions(Sub20Functions &functions, const SymbolLookup &lookUp)
{
    Resolver library(lookUp);
    library.resolve(functions.findDevices, "sub_find_devices");
    library.resolve(functions.open, "sub_open");
    library.resolve(functions.close, "sub_close");
    library.resolve(functions.errorText, "sub_strerror");
    library.resolve(functions.irConfig, "sub_ir_config");
    library.resolve(functions.irTx, "sub_ir_tx");
    library.resolve(functions.rsTiming, "sub_rs_timing");
    library.resolve(functions.rsXfer, "sub_rs_xfer");
    library.resolve(functions.lastError, "sub_errno");
    return library.firstMissing();
}
