// Dense float tensors whose elements live in the inference runtime.

#pragma once

#include "Kernel/Counted.h"
#include "Learning/Export.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace Learning {

class ONNXTensor;

/// An n-dimensional array of 32-bit floats in row-major order: the last dimension varies fastest.
/// The elements are the very memory that a model reads its input from or writes its output to.
///
/// Copies share their elements: a write through one is seen through all.
///
/// Errors: whatever the inference runtime refuses arrives as Ort::Exception, which is a
/// std::exception: a runtime library that is not there, a negative dimension, more elements than
/// memory can hold. The object is then as it was before.
///
/// Threads: distinct elements may be read and written at the same time; everything else is for one
/// thread at a time.
class LEARNING_API Tensor : public Kernel::Countable {
public:
    /// Allocates shape `dims`, outermost dimension first, for example {1, 3, height, width}; no
    /// dimensions make one element. The elements are not set.
    explicit Tensor(std::vector<int> dims);
    Tensor(std::initializer_list<int> dims);

    /// Allocates shape `dims` and copies `values` to the first elements. The number of values is
    /// not checked and must not be above the number of elements.
    Tensor(std::vector<int> dims, std::vector<float> values);
    Tensor(std::vector<int> dims, std::initializer_list<float> values);

    /// Allocates shape `dims` and sets every element to `value`.
    Tensor(std::vector<int> dims, float value);

    /// Shares the elements of an existing platform tensor, see SetPlatformTensor(), and takes its
    /// shape.
    explicit Tensor(void* platformTensor);

    Tensor(const Tensor& other);
    Tensor& operator=(const Tensor& other);
    ~Tensor() override;

    std::vector<int> GetDimensions() const { return m_dimensions; }

    // Deliberate: no subscript below is checked; they are called for each pixel.

    /// The element at flat `index`.
    float GetValueAtIndexedSubscript(std::uint64_t index) const noexcept { return m_data[index]; }
    void SetValueAtIndexedSubscript(std::uint64_t index, float value) noexcept {
        m_data[index] = value;
    }

    /// The element at the position `key`, one index for each dimension, outermost first; an empty
    /// key gives the first element.
    float GetValueAtKeyedSubscript(const std::vector<int>& key) const noexcept {
        return m_data[GetFlatIndex(key)];
    }
    void SetValueAtKeyedSubscript(const std::vector<int>& key, float value) noexcept {
        m_data[GetFlatIndex(key)] = value;
    }

    /// Replaces the storage by a newly allocated one of shape `dims`, which becomes this tensor's
    /// shape. The elements are not set.
    void CreatePlatformTensor(std::vector<int> dims);

    /// Replaces the storage by the one that `platformTensor` stands for: it points at a
    /// Kernel::Counted<ONNXTensor> that holds floats, of which a reference is taken. Returns the
    /// shape, each dimension cut to 32 bits. Does not store it: that is the caller's to do.
    std::vector<int> SetPlatformTensor(void* platformTensor);

    /// Gives the storage up; no element may be touched until another one is set.
    void DestroyPlatformTensor() noexcept;

protected:
    /// No storage and no dimensions, for derived classes that set the storage later.
    Tensor() noexcept;

private:
    friend class Model;           // binds the storage to inputs and outputs
    friend class TensorElements;  // lends it to bitmaps

    std::uint64_t GetFlatIndex(const std::vector<int>& key) const noexcept {
        // From the second on: the first dimension does not count, and there may be none.
        std::uint64_t index = key.empty() ? 0 : static_cast<std::uint64_t>(key.front());
        for (std::size_t i = 1; i < key.size(); ++i) {
            index = index * static_cast<std::uint64_t>(m_dimensions[i]) +
                    static_cast<std::uint64_t>(key[i]);
        }
        return index;
    }

    void SetStorage(Kernel::Counted<ONNXTensor> storage);

    Kernel::Counted<ONNXTensor> m_platformTensor;
    // The elements in m_platformTensor, null when there are none. A value never moves its elements,
    // and asking the runtime on each access would cost more than the access itself.
    float* m_data = nullptr;
    std::vector<int> m_dimensions;
};

}  // namespace Learning
