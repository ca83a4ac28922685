"""Writes a trained colouriser as ONNX: luma [1,1,h,w] in 0..1 to chroma [1,2,h,w], that is Cb and Cr in -0.5..0.5.

Batch normalisation is folded into the kernels, and large kernels are stored as int8 with one scale for each output
channel, which makes the file a quarter as large.
"""
import numpy as np
from onnx import TensorProto, checker, helper, numpy_helper, save


class Graph:
    """ONNX nodes and constants in the making; each method returns the name of what it adds."""

    def __init__(self):
        self.nodes = []
        self.constants = []

    def constant(self, name, value, dtype=np.float32):
        self.constants.append(numpy_helper.from_array(np.ascontiguousarray(value, dtype), name))
        return name

    def scalar(self, name, value):
        self.constants.append(numpy_helper.from_array(np.array(value, np.float32), name))
        return name

    def node(self, operator, inputs, name, **attributes):
        self.nodes.append(helper.make_node(operator, inputs, [name], name, **attributes))
        return name

    def kernel(self, name, value):
        if value.size < 1000:
            return self.constant(name, value)
        scale = np.maximum(np.abs(value).max(axis=(1, 2, 3)), 1e-12) / 127
        stored = np.rint(value / scale[:, None, None, None])
        parts = [self.constant(name + "_q", stored, np.int8), self.constant(name + "_s", scale),
                 self.constant(name + "_z", np.zeros(len(scale)), np.int8)]
        return self.node("DequantizeLinear", parts, name, axis=0)

    def block(self, value, block, name):
        """A convolution, its batch normalisation and the rectifier."""
        convolution, norm = block[0], block[1]
        gain = norm.weight / (norm.running_var + norm.eps).sqrt()
        kernel = (convolution.weight * gain[:, None, None, None]).detach().numpy()
        bias = (norm.bias - norm.running_mean * gain).detach().numpy()
        inputs = [value, self.kernel(name + ".w", kernel), self.constant(name + ".b", bias)]
        self.node("Conv", inputs, name, pads=[1] * 4, strides=list(convolution.stride), kernel_shape=[3, 3])
        return self.node("Relu", [name], name + ".relu")

    def stage(self, value, blocks, name):
        for i, block in enumerate(blocks):
            value = self.block(value, block, f"{name}{i}")
        return value

    def twice(self, value, name, **how):
        return self.node("Resize", [value, "", "double"], name, **how)

    def joined(self, small, large, name):
        """The smaller planes at twice their size, and the larger ones."""
        up = self.twice(small, name + ".up", mode="nearest", coordinate_transformation_mode="asymmetric",
                        nearest_mode="floor")
        return self.node("Concat", [up, large], name, axis=1)


def write(network, centres, path):
    graph = Graph()
    graph.constant("double", [1, 1, 2, 2])
    scaled = graph.node("Mul", ["luma", graph.scalar("two", 2)], "scaled")
    centred = graph.node("Sub", [scaled, graph.scalar("one", 1)], "centred")
    half = graph.stage(centred, network.at_half, "half")
    quarter = graph.stage(half, network.at_quarter, "quarter")
    eighth = graph.stage(quarter, network.at_eighth, "eighth")
    wide = graph.block(graph.joined(eighth, quarter, "skip_quarter"), network.to_quarter, "to_quarter")
    full = graph.block(graph.joined(wide, half, "skip_half"), network.to_half, "to_half")

    score = [full, graph.kernel("score.w", network.score.weight.detach().numpy()),
             graph.constant("score.b", network.score.bias.detach().numpy())]
    graph.node("Conv", score, "score", kernel_shape=[1, 1])
    share = graph.node("Softmax", ["score"], "share", axis=1)
    table = graph.constant("centres", centres.t()[:, :, None, None].numpy())
    mean = graph.node("Conv", [share, table], "mean", kernel_shape=[1, 1])
    graph.twice(mean, "chroma", mode="linear", coordinate_transformation_mode="half_pixel")
    save(model_of(graph), path)


def model_of(graph):
    def plane(name, channels):
        return helper.make_tensor_value_info(name, TensorProto.FLOAT, [1, channels, "height", "width"])
    body = helper.make_graph(graph.nodes, "colouriser", [plane("luma", 1)], [plane("chroma", 2)], graph.constants)
    model = helper.make_model(
        body, opset_imports=[helper.make_opsetid("", 13)], producer_name="colouriser", ir_version=7)
    checker.check_model(model)
    return model
