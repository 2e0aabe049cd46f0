#!/usr/bin/env python3
"""Holds documents against a schema: check_schema.py SCHEMA, with lines "NAME<tab>DOCUMENT" on the
standard input, where the document is JSON in one line. Says what does not fit; exit status 3 without
the module jsonschema."""
import json
import sys

try:
    import jsonschema
except ImportError:
    sys.exit(3)


def main() -> int:
    with open(sys.argv[1], encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    wrong = 0
    for line in sys.stdin:
        name, text = line.rstrip("\n").split("\t", 1)
        one = {"$schema": schema["$schema"], "$defs": schema["$defs"], "$ref": f"#/$defs/{name}"}
        if name not in schema["$defs"]:
            print(f"{name}: has no schema")
            wrong += 1
            continue
        one["$ref"] = "#/$defs/" + name.replace(" ", "%20")
        for error in jsonschema.Draft202012Validator(one).iter_errors(json.loads(text)):
            print(f"{name}: {error.json_path}: {error.message}")
            wrong += 1
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
