"""The version, which stands in the C header: read there in a source tree, from the metadata where it is installed."""

import re
from importlib import metadata
from pathlib import Path


def find_version() -> str:
    header = Path(__file__).parents[2] / "include/kelvo_audio.h"
    if header.exists():
        return ".".join(re.findall(r"^#define KELVO_AUDIO_VERSION_\w+ (\d+)", header.read_text(), re.M))
    try:
        return metadata.version("kelvo_audio")
    except metadata.PackageNotFoundError:  # a copied folder
        return "unknown"
