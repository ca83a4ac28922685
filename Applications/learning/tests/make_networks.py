#!/usr/bin/python3
"""Makes stand-ins for the networks: inputs and outputs as theirs, results that a test can foresee.

Usage: make_networks.py FOLDER, with tests/support in PYTHONPATH
"""
import numpy as np
from onnx import helper

from onnx_models import FLOAT, INT64, constant, node, save, tensor


def fold(source, target, side):
    """Passes its input on unchanged, but fails for sides that are no multiples of `side`."""
    return [node("SpaceToDepth", source, f"{source}_folded", blocksize=side),
            node("DepthToSpace", f"{source}_folded", target, blocksize=side)]


ENLARGE_CONSTANTS = [constant("no_roi", []), constant("scales", [1, 1, 2, 2])]


def repeat(source, target):
    """Repeats every pixel twice each way."""
    return node("Resize", f"{source} no_roi scales", target, mode="nearest",
                coordinate_transformation_mode="asymmetric", nearest_mode="floor")


def super_resolution():
    """Repeats every pixel twice each way; those on the tile's border it makes black."""
    save("SuperResolution_2.6",
         fold("input", "even", 2) +
         [node("Slice", "even one_each minus_one_each axes", "inner"),
          node("Pad", "inner border", "bordered"),
          repeat("bordered", "output")],
         [tensor("input", ["n", 3, "h", "w"])], [tensor("output", ["n", 3, "h2", "w2"])],
         ENLARGE_CONSTANTS +
         [constant("one_each", [1, 1], np.int64), constant("minus_one_each", [-1, -1], np.int64),
          constant("axes", [2, 3], np.int64),
          constant("border", [0, 0, 1, 1, 0, 0, 1, 1], np.int64)])


def enlarge():
    save("Enlarge",
         [repeat("input", "output")],
         [tensor("input", ["n", 3, "h", "w"])], [tensor("output", ["n", 3, "h2", "w2"])],
         ENLARGE_CONSTANTS)


def identity():
    save("Identity", [node("Identity", "input", "output")],
         [tensor("input", ["n", 3, "h", "w"])], [tensor("output", ["n", 3, "h", "w"])])


def blend():
    """The mean of a grey picture and a colour one of the same size, in a fixed size and a named one.

    Names have colons, as those from TensorFlow do.
    """
    save("Blend",
         [node("Add", "grey:0 colour:0", "sum"), node("Mul", "sum half", "mean:0"),
          node("Slice", "mean:0 begin end axes", "corner")],
         [tensor("grey:0", [1, 1, "height", "width"]), tensor("colour:0", [1, 3, "height", "width"])],
         [tensor("mean:0", [1, 3, "height", "width"]), tensor("corner", [1, 3, 2, 2])],
         [constant("half", 0.5), constant("begin", [0, 0], np.int64),
          constant("end", [2, 2], np.int64), constant("axes", [2, 3], np.int64)])


def hostile():
    """Texts that a terminal would obey or that forge lines, and what is no tensor of floats."""
    count = "\x1b[2Jcount\nforged"
    shape = ["\x9bm\n", None]
    save("Hostile",
         [helper.make_node("Cast", [count], ["same"], to=FLOAT)],
         [tensor(count, shape, INT64)], [tensor("same", shape)],
         entries={"key\"\n": "\\ \x07größe"}, producer_name="make\rnetworks",
         doc_string="one\nwrote two", model_version=3)


def depth():
    """Depth is the mean of the colours: what is dark is near."""
    save("DepthEstimation_2.6", [node("ReduceMean", "0", "350", axes=[1])],
         [tensor("0", [1, 3, 224, 224])], [tensor("350", [1, 1, 224, 224])])


def colourisation():
    """Cb is 0.1 everywhere; Cr is 0.2 where luma is above a half, else -0.2."""
    save("Colourisation_2.6",
         fold("luma", "even", 8) +
         [node("Greater", "even half", "is_bright"),
          node("Where", "is_bright plus minus", "cr"),
          node("Mul", "even zero", "zeros"),
          node("Add", "zeros blue", "cb"),
          node("Concat", "cb cr", "chroma", axis=1)],
         [tensor("luma", [1, 1, "h", "w"])], [tensor("chroma", [1, 2, "h", "w"])],
         [constant("half", 0.5), constant("plus", 0.2), constant("minus", -0.2),
          constant("zero", 0), constant("blue", 0.1)])


def segmentation_encoder():
    """The embedding repeats the colours at a sixteenth of the size."""
    weights = np.zeros((256, 3, 1, 1), np.float32)
    for channel in range(256):
        weights[channel, channel % 3] = 1
    save("SegmentationEncoder_2.6",
         [node("AveragePool", "input", "small", kernel_shape=[16, 16], strides=[16, 16]),
          node("Conv", "small weights", "output")],
         [tensor("input", ["n", 3, 1024, 1024])], [tensor("output", ["n", 256, 64, 64])],
         [constant("weights", weights)])


def segmentation_decoder():
    """The mask is what lies within 200 of an inside point and not within 200 of an outside point.

    Distances count in pixels of the encoder's square. The mask is empty unless exactly one point
    closes the list at (0, 0) and no earlier mask is given. The quality is the mean of the
    embedding's first channel.
    """
    nodes = [
        # Centres of the mask's pixels in the encoder's square: {height, 1} and {width}.
        node("Cast", "orig_im_size", "sizes", to=INT64),
        node("Gather", "sizes first", "height"),
        node("Gather", "sizes second", "width"),
        node("ReduceMax", "orig_im_size", "longest", keepdims=0),
        node("Div", "side longest", "scale"),
        node("Range", "zero_i height one_i", "rows_i"),
        node("Range", "zero_i width one_i", "columns_i"),
        node("Cast", "rows_i", "rows_f", to=FLOAT),
        node("Cast", "columns_i", "columns_f", to=FLOAT),
        node("Add", "rows_f half", "rows_c"),
        node("Add", "columns_f half", "columns_c"),
        node("Mul", "rows_c scale", "rows_s"),
        node("Mul", "columns_c scale", "columns"),
        node("Unsqueeze", "rows_s axis1", "rows"),
        # Distance of each point, {n, height, width}, and how far each is within the radius.
        node("Gather", "point_coords first", "xs_1", axis=2),
        node("Gather", "point_coords second", "ys_1", axis=2),
        node("Reshape", "xs_1 points", "xs"),
        node("Reshape", "ys_1 points", "ys"),
        node("Sub", "columns xs", "dx"),
        node("Sub", "rows ys", "dy"),
        node("Mul", "dx dx", "dx2"),
        node("Mul", "dy dy", "dy2"),
        node("Add", "dx2 dy2", "d2"),
        node("Sqrt", "d2", "distance"),
        node("Sub", "radius distance", "within"),
        node("Reshape", "point_labels points", "labels"),
        node("Equal", "labels one", "is_inside"),
        node("Equal", "labels zero", "is_outside"),
        node("Where", "is_inside within far", "insides"),
        node("Where", "is_outside within far", "outsides"),
        node("ReduceMax", "insides", "inside", axes=[0], keepdims=0),
        node("ReduceMax", "outsides", "outside", axes=[0], keepdims=0),
        node("Neg", "outside", "not_outside"),
        node("Min", "inside not_outside", "shape"),
        # A large penalty for whatever is not as it should be.
        node("Equal", "labels minus_one", "is_end"),
        node("Cast", "is_end", "ends", to=FLOAT),
        node("ReduceSum", "ends", "end_count", keepdims=0),
        node("Sub", "end_count one", "end_fault"),
        node("Abs", "xs", "xs_abs"),
        node("Abs", "ys", "ys_abs"),
        node("Add", "xs_abs ys_abs", "place"),
        node("Mul", "place ends", "end_place"),
        node("ReduceSum", "end_place", "place_fault", keepdims=0),
        node("ReduceMax", "mask_input", "mask_fault", keepdims=0),
        node("ReduceMax", "has_mask_input", "has_mask_fault", keepdims=0),
        node("Mul", "end_fault end_fault", "end_fault_2"),
        node("Sum", "end_fault_2 place_fault mask_fault has_mask_fault", "faults"),
        node("Mul", "faults far", "penalty"),
        node("Add", "shape penalty", "judged"),
        node("Unsqueeze", "judged axes01", "masks"),
        node("Slice", "image_embeddings slice_start slice_end axis1", "channel"),
        node("ReduceMean", "channel", "mean", axes=[1, 2, 3], keepdims=0),
        node("Unsqueeze", "mean axis0", "iou_predictions"),
    ]
    save("SegmentationDecoder_2.6", nodes,
         [tensor("image_embeddings", [1, 256, 64, 64]), tensor("point_coords", [1, "n", 2]),
          tensor("point_labels", [1, "n"]), tensor("mask_input", [1, 1, 256, 256]),
          tensor("has_mask_input", [1]), tensor("orig_im_size", [2])],
         [tensor("masks", [1, 1, "h", "w"]), tensor("iou_predictions", [1, 1])],
         [constant("first", 0, np.int64), constant("second", 1, np.int64),
          constant("zero_i", 0, np.int64), constant("one_i", 1, np.int64),
          constant("axis0", [0], np.int64), constant("axis1", [1], np.int64),
          constant("axes01", [0, 1], np.int64), constant("points", [-1, 1, 1], np.int64),
          constant("slice_start", [0], np.int64), constant("slice_end", [1], np.int64),
          constant("side", 1024), constant("radius", 200), constant("far", -1e6),
          constant("zero", 0), constant("half", 0.5), constant("one", 1),
          constant("minus_one", -1)])


def main():
    blend()
    enlarge()
    hostile()
    identity()
    super_resolution()
    depth()
    colourisation()
    segmentation_encoder()
    segmentation_decoder()


if __name__ == "__main__":
    main()
