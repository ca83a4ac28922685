"""Writing small ONNX models, for the scripts that make those of the tests."""
import pathlib
import sys

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

FLOAT = TensorProto.FLOAT
INT64 = TensorProto.INT64


def tensor(name, shape, kind=FLOAT):
    """An input or output; a dimension that is a text or None has any size."""
    return helper.make_tensor_value_info(name, kind, shape)


def constant(name, values, dtype=np.float32):
    return numpy_helper.from_array(np.array(values, dtype=dtype), name)


def node(operator, inputs, output, **attributes):
    """A node with one output. `inputs`: their names with blanks between them."""
    return helper.make_node(operator, inputs.split(), [output], **attributes)


def save(name, nodes, inputs, outputs, constants=(), entries=None, **metadata):
    """Writes NAME.onnx to the folder that is the script's argument, once it is found to be valid.

    `entries`: custom metadata. `metadata`: fields of the model.
    """
    graph = helper.make_graph(nodes, name, inputs, outputs, list(constants))
    model = helper.make_model(graph, opset_imports=[helper.make_opsetid("", 13)])
    model.ir_version = 8
    helper.set_model_props(model, entries or {})
    for field, value in metadata.items():
        setattr(model, field, value)
    onnx.checker.check_model(model)
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    onnx.save(model, folder / f"{name}.onnx")
