#!/usr/bin/python3
"""make_models.py FOLDER: the small models that liblearning's tests and benchmarks run."""
import os
import sys

from onnx import TensorProto, checker, helper, save


def value(name, shape, kind=TensorProto.FLOAT):
    return helper.make_tensor_value_info(name, kind, shape)


def write(name, nodes, inputs, outputs, constants=()):
    graph = helper.make_graph(nodes, name, inputs, outputs, list(constants))
    model = helper.make_model(graph, opset_imports=[helper.make_opsetid("", 13)])
    model.ir_version = 7
    checker.check_model(model)
    save(model, os.path.join(sys.argv[1], name + ".onnx"))


node = helper.make_node
first = helper.make_tensor("first", TensorProto.INT64, [1], [0])

write("Add", [node("Add", ["a", "b"], ["sum"])],
      [value("a", [1, 4]), value("b", [1, 4])], [value("sum", [1, 4])])

# Names outside ASCII, and two outputs of which a caller may want one.
write("Unicode", [node("Add", ["größe", "数"], ["和"]), node("Sub", ["größe", "数"], ["差"])],
      [value("größe", [2]), value("数", [2])], [value("和", [2]), value("差", [2])])

write("Integers", [node("Add", ["a", "a"], ["sum"])],
      [value("a", [1], TensorProto.INT64)], [value("sum", [1], TensorProto.INT64)])

# Reads one element of an input of any size.
write("First", [node("Gather", ["x", "first"], ["y"])],
      [value("x", ["n"])], [value("y", [1])], [first])

# Writes an output of a size that is all its work.
write("Fill", [node("ConstantOfShape", ["size"], ["zeros"]), node("Add", ["zeros", "x"], ["y"])],
      [value("x", [1])], [value("y", [1 << 24])],
      [helper.make_tensor("size", TensorProto.INT64, [1], [1 << 24])])
