"""The bill of materials of a package, in SPDX 2.3: every file with its hashes, and what others made of it."""
import hashlib
import json
import re
import time
import uuid

NAME = "rendereraudio.spdx.json"
DOCUMENT = "SPDXRef-DOCUMENT"
PACKAGE = "SPDXRef-Package-rendereraudio"
UNKNOWN = "NOASSERTION"


def identify(kind, name):
    return f"SPDXRef-{kind}-{re.sub('[^a-zA-Z0-9.-]', '-', name)}"


def hash_of(algorithm, data):
    return hashlib.new(algorithm, data).hexdigest()


def describe_files(stage):
    """In order of their names. Two whose names differ only in what an identifier cannot have are told apart by a number."""
    paths = sorted(path.relative_to(stage).as_posix() for path in stage.rglob("*") if path.is_file())
    for number, path in enumerate(paths, 1):
        data = (stage / path).read_bytes()
        yield {"SPDXID": f"{identify('File', path)}-{number}", "fileName": f"./{path}",
               "checksums": [{"algorithm": name, "checksumValue": hash_of(name, data)} for name in ("SHA1", "SHA256")],
               "licenseConcluded": UNKNOWN, "copyrightText": UNKNOWN}


def verification_code(files):
    """What SPDX has for the content of all files."""
    sums = sorted(entry["checksums"][0]["checksumValue"] for entry in files)
    return hash_of("SHA1", "".join(sums).encode())


def describe_part(part):
    return {"SPDXID": identify("Package", part.folder), "name": part.name, "versionInfo": part.version,
            "downloadLocation": UNKNOWN, "homepage": part.homepage, "filesAnalyzed": False,
            "licenseConcluded": UNKNOWN, "licenseDeclared": part.licence, "copyrightText": UNKNOWN,
            "comment": part.use,
            "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                              "referenceLocator": part.purl}]}


def relate(element, kind, related):
    return {"spdxElementId": element, "relationshipType": kind, "relatedSpdxElement": related}


def write_bill(stage, version, parts, date_seconds):
    """Of all that is in the folder `stage` by now; it does not list itself."""
    files = list(describe_files(stage))
    ids = {entry["fileName"]: entry["SPDXID"] for entry in files}
    code = verification_code(files)
    package = {"SPDXID": PACKAGE, "name": "rendereraudio", "versionInfo": version, "downloadLocation": UNKNOWN,
               "filesAnalyzed": True, "licenseConcluded": UNKNOWN, "licenseDeclared": UNKNOWN,
               "licenseInfoFromFiles": [UNKNOWN], "copyrightText": UNKNOWN,
               "packageVerificationCode": {"packageVerificationCodeValue": code,
                                           "packageVerificationCodeExcludedFiles": [f"./{NAME}"]}}
    relations = [relate(DOCUMENT, "DESCRIBES", PACKAGE)]
    relations += [relate(PACKAGE, "CONTAINS", identity) for identity in ids.values()]
    for part in parts:
        own = part.find_files(stage)
        identity = identify("Package", part.folder)
        relations.append(relate(PACKAGE, "DYNAMIC_LINK" if own else "STATIC_LINK", identity))
        relations += [relate(ids[f"./{path.relative_to(stage).as_posix()}"], "GENERATED_FROM", identity) for path in own]
    document = {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": DOCUMENT, "name": f"rendereraudio-{version}",
        # Another one for every other content.
        "documentNamespace": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, f'rendereraudio {version} {code}')}",
        "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(date_seconds)),
                         "creators": ["Tool: makepackage"]},
        "packages": [package, *map(describe_part, parts)], "files": files, "relationships": relations}
    (stage / NAME).write_text(json.dumps(document, indent=1, ensure_ascii=False) + "\n")
