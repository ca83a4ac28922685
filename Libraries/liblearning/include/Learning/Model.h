// Loaded machine-learning models.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/String.h"
#include "Learning/Device.h"
#include "Learning/Export.h"
#include "Learning/ModelInfo.h"
#include "Learning/RunCost.h"
#include "Learning/RunOptions.h"
#include "Learning/Tensor.h"

#include <map>
#include <optional>
#include <vector>

namespace Learning {

class ModelSession;

/// One or more ONNX model files, each open in a session of the inference runtime.
///
/// Copies share the sessions, which close with the last of them.
///
/// Threads: Execute() may be called by many threads at the same time.
class LEARNING_API Model : public Kernel::Countable {
public:
    /// Which device a model runs on.
    enum EP : int {
        /// What the runtime chooses by the inference mode of the model cache: the CPU in mode CPU,
        /// else the registered device that suits the mode best.
        Default = 0,
        /// Always the CPU.
        CPUOnly = 1,
    };

    /// Tensors by the name of the model's input or output.
    using TensorMap = std::map<Kernel::String, Kernel::Counted<Tensor>>;

    /// Opens the model files at `paths`, in order. A file that the runtime can't open is logged and
    /// leaves the model invalid; any other failure, of the registration of execution providers for
    /// example, is thrown.
    Model(const std::vector<Kernel::String>& paths, EP ep);
    /// The same. Another thread may set `abort`, if it is not null: opening then ends within some
    /// 20 ms, or when the runtime comes to a point where it can, and leaves the model invalid.
    Model(const std::vector<Kernel::String>& paths, EP ep, Kernel::AbortFlag abort);
    Model(const Model& other);
    Model& operator=(const Model& other);
    ~Model() override;

    /// Runs the first model file: reads `inputs` and writes the results into the tensors that
    /// `outputs` already holds, each with the exact shape that the model produces. Copies no
    /// tensor. An output that is not named is not delivered.
    ///
    /// False, after a line in the log that gives the reason, if the runtime refuses: a name or
    /// shape that the model doesn't have, or an input that is missing. False also if there is no
    /// such session or a tensor is null. The contents of the outputs are then undefined.
    virtual bool Execute(TensorMap inputs, TensorMap& outputs);

    /// The same, with what is asked for.
    RunResult Execute(const TensorMap& inputs, TensorMap& outputs, const RunOptions& options);

    /// Whether every file was opened; true for a model without files.
    bool IsValid() const noexcept;

    /// Why the first file that could not be opened could not, in one line; empty if all were.
    const Kernel::String& GetFailure() const noexcept { return m_failure; }

    /// The device that the runtime has given the first model file to: that which takes its first
    /// input. Where no other device takes the network, this is the CPU in every inference mode, and
    /// parts of a network that a device does not support always run on the CPU. Unknown for a file
    /// that is not open, and for a network without inputs.
    Device GetDevice() const;

    /// The inputs, outputs and metadata of the first model file, which the runtime is asked for at
    /// each call. Nothing for a file that is not open.
    std::optional<ModelInfo> GetInfo() const;

    /// What runs of the first model file take. With several threads, the time is that of the run
    /// that ended last.
    RunCost GetRunCost() const;

protected:
    /// As Execute(), for the model file number `session`.
    bool PlatformExecute(int session, TensorMap inputs, TensorMap& outputs);

private:
    /// Null if there is no such file, or it could not be opened.
    ModelSession* FindSession(int session) const noexcept;
    RunResult Run(int session, const TensorMap& inputs, const TensorMap& outputs,
                  const RunOptions& options);

    std::vector<Kernel::Counted<ModelSession>> m_sessions;  // null: could not be opened
    Kernel::String m_failure;
};

}  // namespace Learning
