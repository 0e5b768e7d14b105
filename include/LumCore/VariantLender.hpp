// VariantLender: lends a block of elements that the caller owns to variants,
// with no copy, from a module of any compiler or C++ runtime. It works over
// the flat lender functions of LumCore/c/LumCoreFlat.h alone, so nothing of
// the caller's standard library reaches the library or the other way round.
//
//     std::vector<double> samples(6);
//     {
//         VariantLender<double> lender(samples.data(), {2, 3});   // 2 x 3, row-major
//         ZVariantAbi v = lender.variant();    // reads `samples` in place
//         samples[5] = 7.0;                    // and sees this write
//         keep(v);
//     }   // the lender detaches: `v` now holds a private copy
//
// The lender keeps one share of its variant until it detaches, so the loan
// always ends by the detach: explicitly, or in the destructor. A detach fails
// only when memory runs out for the copy; in the destructor that ends the
// process, since the variants could otherwise read memory that is gone.
#pragma once

#include <cstddef>
#include <exception>
#include <initializer_list>
#include <vector>

#include "LumCore/ZVariantAbi.hpp"
#include "LumCore/internal/ThrowIfFailed.hpp"

namespace Marlowen::Lum {

template <class T>
class VariantLender {
    static_assert(Internal::kIsWellKnownElement<T> && WellKnownType(WellKnownTypeOf<T>::value).isNumeric(),
                  "memory is lent as elements of a numeric or bool type");

public:
    // Lends `data`, which holds elementCount(dimensions) elements and stays
    // where it is until the detach.
    VariantLender(T* data, std::initializer_list<std::size_t> dimensions,
                  DataOrdering ordering = DataOrdering::RowMajor)
        : VariantLender(data, std::vector<std::size_t>(dimensions), ordering)
    {
    }
    VariantLender(T* data, std::vector<std::size_t> dimensions, DataOrdering ordering = DataOrdering::RowMajor)
        : m_data(data), m_dimensions(std::move(dimensions)), m_room(1)
    {
        for (const std::size_t extent : m_dimensions) {
            m_room *= extent;
        }
        const ZVariantLender lender{this,
                                    WellKnownType(WellKnownTypeOf<T>::value).bits(),
                                    static_cast<ZDataOrdering>(ordering),
                                    &VariantLender::room,
                                    &VariantLender::shape,
                                    &VariantLender::constData,
                                    &VariantLender::mutableData,
                                    &VariantLender::reshape,
                                    nullptr};
        m_handle = Internal::checkedFlatCall(
            [&](ErrorRecord* error) { return ZVariantData_C_API_createWithLender(error, &lender, &m_loan); });
    }

    ~VariantLender()
    {
        if (m_loan != nullptr) {
            ErrorRecord error;
            error.typeName = nullptr;
            ZVariantData_C_API_detachLender(&error, m_loan);
            if (error.typeName != nullptr) {
                std::terminate();
            }
        }
        Internal::releaseIgnoringFailure(&ZVariantData_C_API_destruct, m_handle);
    }

    VariantLender(const VariantLender&) = delete;
    VariantLender& operator=(const VariantLender&) = delete;

    // A share of the variant over the lent block (after the detach, over
    // the private copy).
    [[nodiscard]] ZVariantAbi variant() const
    {
        return ZVariantAbi::adoptFlatHandle(
            Internal::checkedFlatCall([&](ErrorRecord* error) { return ZVariantData_C_API_copy(error, m_handle); }));
    }

    // Every variant over the block takes a private copy; the block is the
    // caller's again. Once detached, this does nothing.
    void detach()
    {
        if (m_loan != nullptr) {
            Internal::checkedFlatCall([&](ErrorRecord* error) { ZVariantData_C_API_detachLender(error, m_loan); });
            m_loan = nullptr;
        }
    }

    [[nodiscard]] bool isLent() const noexcept { return m_loan != nullptr; }

private:
    static VariantLender& self(void* context) noexcept { return *static_cast<VariantLender*>(context); }
    static std::size_t room(void* context) noexcept { return self(context).m_room; }
    static ZArrayDimensions shape(void* context) noexcept
    {
        return ZArrayDimensions{self(context).m_dimensions.data(), self(context).m_dimensions.size()};
    }
    static const void* constData(void* context) noexcept { return self(context).m_data; }
    static void* mutableData(void* context) noexcept { return self(context).m_data; }
    // The library has checked that the shape fits the room.
    static bool reshape(void* context, ZArrayDimensions dimensions) noexcept
    {
        try {
            self(context).m_dimensions.assign(dimensions.data, dimensions.data + dimensions.size);
            return true;
        } catch (...) {
            return false;
        }
    }

    T* m_data;
    std::vector<std::size_t> m_dimensions;
    std::size_t m_room;
    ZVariantLoan* m_loan = nullptr;
    ZVariantData* m_handle = nullptr;
};

}  // namespace Marlowen::Lum
