#!/usr/bin/env python3
"""messages.py FOLDER FILE: every message of the simulator in FILE is valid under FOLDER's schemas.

FOLDER holds simulator-protocol.schema.json and device-script.schema.json. A line of FILE is a definition
of the protocol's schema, a space, and the JSON that it is to fit: `state {"type":"state",...}`.
"""

import json
import pathlib
import sys

import jsonschema

PROTOCOL = "simulator-protocol.schema.json"
SCRIPT = "device-script.schema.json"


def main():
    folder = pathlib.Path(sys.argv[1])
    schemas = {name: json.loads((folder / name).read_text(encoding="utf-8")) for name in (PROTOCOL, SCRIPT)}
    protocol = schemas[PROTOCOL]
    jsonschema.Draft202012Validator.check_schema(protocol)
    resolver = jsonschema.RefResolver(PROTOCOL, protocol, store=schemas)
    validators = {
        name: jsonschema.Draft202012Validator({"$ref": f"{PROTOCOL}#/$defs/{name}"}, resolver=resolver)
        for name in protocol["$defs"]
    }
    count, failed = 0, False
    with open(sys.argv[2], encoding="utf-8") as lines:
        for line in lines:
            name, _, text = line.partition(" ")
            count += 1
            if name not in validators:
                print(f"the schema does not know the message {name!r}")
                failed = True
                continue
            for error in validators[name].iter_errors(json.loads(text)):
                place = "/".join(map(str, error.absolute_path)) or "(the whole)"
                print(f"{name}: {place}: {error.message[:300]}\n  in {text[:300].strip()}")
                failed = True
    print(f"{count} messages were checked.")
    sys.exit(1 if failed or count == 0 else 0)


if __name__ == "__main__":
    main()
