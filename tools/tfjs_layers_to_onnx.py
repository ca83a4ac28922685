#!/usr/bin/python3
"""Converts a TensorFlow.js layers model (a plain convolutional image network) to ONNX.

The ONNX network takes `input` and gives `output`, both float32 in NCHW order. A layer of a kind that
is not known here stops the conversion.
"""
import argparse
import json
import pathlib

import numpy as np
from onnx import TensorProto, checker, helper, numpy_helper, save

ACTIVATIONS = {"relu": "Relu", "sigmoid": "Sigmoid", "tanh": "Tanh"}


def read_weights(folder, manifest):
    """The weights by name, as float32: stored quantised or plain, one after the other in a group's files."""
    weights = {}
    for group in manifest:
        data = b"".join((folder / path).read_bytes() for path in group["paths"])
        offset = 0
        for entry in group["weights"]:
            quantization = entry.get("quantization")
            dtype = np.dtype(quantization["dtype"] if quantization else entry["dtype"])
            count = int(np.prod(entry["shape"]))
            value = np.frombuffer(data, dtype, count, offset).reshape(entry["shape"]).astype(np.float32)
            offset += count * dtype.itemsize
            if quantization:
                value = value * np.float32(quantization["scale"]) + np.float32(quantization["min"])
            weights[entry["name"]] = value
    return weights


class Converter:
    """Grows an ONNX graph, layer by layer; the method add_<class> handles the layers of that class.

    Each of these takes a layer's configuration and the names of its inputs, and returns its output's name.
    """

    def __init__(self, weights):
        self.weights = weights
        self.nodes = []
        self.constants = []

    def constant(self, name, value):
        self.constants.append(numpy_helper.from_array(np.ascontiguousarray(value, np.float32), name))
        return name

    def node(self, operator, inputs, name, **attributes):
        self.nodes.append(helper.make_node(operator, inputs, [name], name, **attributes))
        return name

    def scale(self, value, factor, name):
        return self.node("Mul", [value, self.constant(name + "/factor", factor)], name)

    def activate(self, value, kind):
        return value if kind == "linear" else self.node(ACTIVATIONS[kind], [value], f"{value}:{kind}")

    def add_Conv2D(self, config, inputs):
        if config["data_format"] != "channels_last" or config["groups"] != 1:
            raise SystemExit(f"layer {config['name']}: only ungrouped convolutions with the channels last")
        name = config["name"]
        kernel = self.weights[name + "/kernel"].transpose(3, 2, 0, 1)  # height, width, in, out to OIHW
        operands = [inputs[0], self.constant(name + "/kernel", kernel)]
        if config["use_bias"]:
            operands.append(self.constant(name + "/bias", self.weights[name + "/bias"]))
        value = self.node(
            "Conv", operands, name,
            kernel_shape=config["kernel_size"], strides=config["strides"], dilations=config["dilation_rate"],
            auto_pad="SAME_UPPER" if config["padding"] == "same" else "VALID")
        return self.activate(value, config["activation"])

    def add_Activation(self, config, inputs):
        return self.activate(inputs[0], config["activation"])

    def add_Concatenate(self, config, inputs):
        if config["axis"] not in (3, -1):
            raise SystemExit(f"layer {config['name']}: only channels can be joined")
        return self.node("Concat", inputs, config["name"], axis=1)

    def add_Add(self, config, inputs):
        return self.node("Sum", inputs, config["name"])

    def add_UpSampling2D(self, config, inputs):
        name, (height, width) = config["name"], config["size"]
        how = {
            "nearest": dict(mode="nearest", coordinate_transformation_mode="asymmetric", nearest_mode="floor"),
            "bilinear": dict(mode="linear", coordinate_transformation_mode="half_pixel"),
        }[config["interpolation"]]
        return self.node("Resize", [inputs[0], "", self.constant(name + "/scales", [1, 1, height, width])], name, **how)


def convert(document, folder, scale):
    topology = document["modelTopology"]
    config = topology.get("model_config", topology)["config"]
    weights = read_weights(folder, document["weightsManifest"])
    converter = Converter(weights)

    channels = 0
    values = {}  # layer to the name of its output
    for layer in config["layers"]:
        kind, name = layer["class_name"], layer["name"]
        inputs = [values[source[0]] for node in layer["inbound_nodes"] for source in node]
        if kind == "InputLayer":
            channels = layer["config"]["batch_input_shape"][-1]
            values[name] = "input" if scale == 1 else converter.scale("input", scale, "scaled_input")
        elif hasattr(converter, "add_" + kind):
            values[name] = getattr(converter, "add_" + kind)(layer["config"], inputs)
        else:
            raise SystemExit(f"layer {name}: class {kind} is not handled")

    (last, *_), = config["output_layers"]  # one output
    value = values[last] if scale == 1 else converter.scale(values[last], 1 / scale, "unscaled_output")
    converter.node("Identity", [value], "output")
    graph = helper.make_graph(
        converter.nodes, config["name"],
        [image("input", channels, "height", "width")],
        [image("output", weights[last + "/kernel"].shape[-1], "out_height", "out_width")],
        converter.constants)
    model = helper.make_model(
        graph, opset_imports=[helper.make_opsetid("", 13)], producer_name="tfjs_layers_to_onnx", ir_version=7)
    checker.check_model(model)
    return model


def image(name, channels, height, width):
    return helper.make_tensor_value_info(name, TensorProto.FLOAT, [1, channels, height, width])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("model", type=pathlib.Path, help="the model.json; its weights stand beside it")
    parser.add_argument("out", help="the ONNX file to write")
    parser.add_argument("--scale", type=float, default=1,
                        help="multiply the input and divide the output by this: 255 lets a network made for"
                             " 0..255 take 0..1")
    arguments = parser.parse_args()
    document = json.loads(arguments.model.read_text())
    save(convert(document, arguments.model.parent, arguments.scale), arguments.out)


if __name__ == "__main__":
    main()
