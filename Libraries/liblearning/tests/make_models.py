#!/usr/bin/python3
"""make_models.py FOLDER: the small models that liblearning's tests and benchmarks run.

Needs tests/support in PYTHONPATH.
"""
import numpy as np
from onnx import helper

from onnx_models import INT64, constant, node, save, tensor

save("Add", [node("Add", "a b", "sum")],
     [tensor("a", [1, 4]), tensor("b", [1, 4])], [tensor("sum", [1, 4])])

# Names outside ASCII, and two outputs of which a caller may want one.
save("Unicode", [node("Add", "größe 数", "和"), node("Sub", "größe 数", "差")],
     [tensor("größe", [2]), tensor("数", [2])], [tensor("和", [2]), tensor("差", [2])])

save("Integers", [node("Add", "a a", "sum")], [tensor("a", [1], INT64)], [tensor("sum", [1], INT64)])

# Says much of itself, and takes and gives what is no tensor of floats.
save("Talkative", [node("Add", "picture one", "brighter"), node("Cast", "count", "float", to=1),
                   node("SequenceConstruct", "brighter", "list")],
     [tensor("picture", [1, 3, "height", None]), tensor("count", [], INT64)],
     [tensor("brighter", [1, 3, "height", None]), tensor("float", []),
      helper.make_tensor_sequence_value_info("list", 1, None)],
     [constant("one", 1)], entries={"author": "somebody", "größe": "\x1b[2J"},
     producer_name="make_models", domain="test.orvantis", doc_string="one\ntwo", model_version=7)

# Reads one element of an input of any size.
save("First", [node("Gather", "x first", "y")],
     [tensor("x", ["n"])], [tensor("y", [1])], [constant("first", [0], np.int64)])

# Gives its input as well.
save("Through", [node("Add", "x x", "y")],
     [tensor("x", ["n"])], [tensor("y", ["n"]), tensor("x", ["n"])])

# Writes an output of a size that is all its work.
save("Fill", [node("ConstantOfShape", "size", "zeros"), node("Add", "zeros x", "y")],
     [tensor("x", [1])], [tensor("y", [1 << 24])], [constant("size", [1 << 24], np.int64)])

def chain(operator, count):
    """x op x op x ..., with y as the result."""
    return [node(operator, f"y{i} x" if i else "x x", f"y{i + 1}" if i + 1 < count else "y")
            for i in range(count)]


# Takes its time to run, in many nodes of a few milliseconds each for 384 x 384.
save("Slow", chain("MatMul", 200), [tensor("x", ["n", "n"])], [tensor("y", ["n", "n"])])

# Takes its time to open.
save("Long", chain("Add", 3000), [tensor("x", [2])], [tensor("y", [2])])
