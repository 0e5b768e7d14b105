// The flat lender: memory lent through a plain C record of functions, for
// callers of any runtime. A library-side ExternalVariantStorageInterface
// forwards to the record, so the callable the adaptor keeps, and every other
// object of this library's runtime, stays on this side of the boundary.
#include <stdexcept>

#include "LumCore/ExternalVariantStorageInterface.hpp"
#include "LumCore/VariantFactories.hpp"
#include "LumCore/c/LumCoreFlat.h"
#include "boundary/GuardedCall.hpp"

namespace {

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

class FlatLender final : public ExternalVariantStorageInterface {
public:
    explicit FlatLender(const ZVariantLender& lender) : m_lender(lender) {}

    [[nodiscard]] std::size_t numberAllocatedElements() const override
    {
        return m_lender.numberAllocatedElements(m_lender.context);
    }
    [[nodiscard]] ArrayDimensionsView dimensions() const override
    {
        const ZArrayDimensions dims = m_lender.dimensions(m_lender.context);
        return ArrayDimensionsView(dims.data, dims.size);
    }
    [[nodiscard]] DataOrdering dataOrdering() const override { return static_cast<DataOrdering>(m_lender.ordering); }
    [[nodiscard]] WellKnownType wellKnownDataType() const override { return WellKnownType::fromBits(m_lender.type); }
    void reshapeNoRealloc(ArrayDimensionsView dimensions) override
    {
        if (m_lender.reshapeNoRealloc == nullptr) {
            throw std::runtime_error("The lender of this memory does not reshape it.");
        }
        if (!m_lender.reshapeNoRealloc(m_lender.context, ZArrayDimensions{dimensions.data(), dimensions.size()})) {
            throw std::runtime_error("The lender of this memory refused the shape.");
        }
    }
    [[nodiscard]] const void* constStoredData() const override { return m_lender.constStoredData(m_lender.context); }
    [[nodiscard]] void* mutableStoredData() override { return m_lender.mutableStoredData(m_lender.context); }

    // The last variant went before any detach: the loan ends here.
    void adaptorDestroyed() override
    {
        if (m_lender.released != nullptr) {
            m_lender.released(m_lender.context);
        }
        delete this;
    }

private:
    ZVariantLender m_lender;
};

void checkLender(const ZVariantLender& lender)
{
    if (lender.numberAllocatedElements == nullptr || lender.dimensions == nullptr ||
        lender.constStoredData == nullptr || lender.mutableStoredData == nullptr) {
        throw std::invalid_argument("A lender needs its element count, dimensions and both data functions.");
    }
    const WellKnownType type = WellKnownType::fromBits(lender.type);
    bool listed = false;
#define LUMCORE_IS_CODE(word, enumerator, code, Class) listed = listed || lender.type == (code);
    LUMCORE_TYPE_CODES(LUMCORE_IS_CODE)
#undef LUMCORE_IS_CODE
    if (!listed || !type.isNumeric()) {
        throw std::invalid_argument("A lender's element type must be numeric or bool, not '" +
                                    std::string(type.toString()) + "'.");
    }
    if (lender.ordering != ZDataOrdering_RowMajor && lender.ordering != ZDataOrdering_ColumnMajor) {
        throw std::invalid_argument("A lender's ordering must be row-major (0) or column-major (1).");
    }
}

}  // namespace

extern "C" {

LUM_API ZVariantData* ZVariantData_C_API_createWithLender(ErrorRecord* error, const ZVariantLender* lender,
                                                          ZVariantLoan** loan)
{
    return guardedCall(error, [&] {
        if (lender == nullptr || loan == nullptr) {
            throw std::invalid_argument("A loan needs a lender and a place for the loan.");
        }
        checkLender(*lender);
        auto* forwarder = new FlatLender(*lender);
        IVariantData* variant;
        try {
            variant = constructVariantExternal(forwarder);
        } catch (...) {
            delete forwarder;
            throw;
        }
        *loan = reinterpret_cast<ZVariantLoan*>(forwarder);
        return reinterpret_cast<ZVariantData*>(variant);
    });
}

LUM_API void ZVariantData_C_API_detachLender(ErrorRecord* error, ZVariantLoan* loan)
{
    guardedCall(error, [&] {
        if (loan == nullptr) {
            throw std::invalid_argument("No loan to detach.");
        }
        auto* forwarder = reinterpret_cast<FlatLender*>(loan);
        // Once the copy is taken the adaptor never calls back, so the
        // forwarder goes with the loan.
        forwarder->detachFromStorage();
        delete forwarder;
    });
}

}  // extern "C"
