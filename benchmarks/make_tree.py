"""Makes a tree of models out of the samples: bushes, every tenth a car, every two-hundredth skinned.

    make_tree.py SAMPLES FOLDER [DISTRICTS]

A district is 1000 models in 10 folders, about 55 MB; there are 20 if nothing else is said. Skinned models have a
skeleton of their own beside them. A tree that is there already is left alone.
"""

import pathlib
import sys

samples, tree = map(pathlib.Path, sys.argv[1:3])
districts = int(sys.argv[3]) if len(sys.argv) > 3 else 20
if (tree / "done").exists():
    sys.exit()

bush = (samples / "model/city/bush.kim").read_bytes()
cars = [path.read_bytes() for path in sorted((samples / "model/vehicle").glob("*.kim"))]
actors = [(path.stem, path.read_bytes(), path.with_suffix(".kis").read_bytes())
          for path in sorted((samples / "model/actor").glob("*.kim"))]

number = 0
for district in range(districts):
    for street in range(10):
        folder = tree / f"model/district_{district:02}/street_{street}"
        folder.mkdir(parents=True, exist_ok=True)
        for place in range(100):
            number += 1
            if number % 200 == 0:
                name, model, skeleton = actors[number // 200 % len(actors)]
                own = f"{name}_{number:05}"
                (folder / f"{own}.kis").write_bytes(skeleton)
                (folder / f"{own}.kim").write_bytes(model.replace(f'"{name}.kis"'.encode(), f'"{own}.kis"'.encode()))
            elif number % 10 == 0:
                (folder / f"car_{number:05}.kim").write_bytes(cars[number // 10 % len(cars)])
            else:
                (folder / f"bush_{number:05}.kim").write_bytes(bush)
(tree / "done").touch()
