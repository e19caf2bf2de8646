#!/usr/bin/env python3
"""Prints the bill of materials (SPDX 2.3) of a release: its files, and the packages they were built with."""
import email.utils
import hashlib
import json
import pathlib
import re
import sys

folder = pathlib.Path(sys.argv[1])
[info] = folder.glob("*.buildinfo")
fields = info.read_text()
version = re.search(r"^Version: (.*)$", fields, re.M)[1]
date = email.utils.parsedate_to_datetime(re.search(r"^Build-Date: (.*)$", fields, re.M)[1]).strftime("%Y-%m-%dT%H:%M:%SZ")
used = re.findall(r"^ (\S+) \(= (\S+?)\),?$", fields.split("Installed-Build-Depends:")[1], re.M)


def package(name, release, **more):
    identity = "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", f"{name}-{release}")
    return {"SPDXID": identity, "name": name, "versionInfo": release, "downloadLocation": "NOASSERTION", **more}


made = [
    package(file.name, version, packageFileName=file.name,
            checksums=[{"algorithm": "SHA256", "checksumValue": hashlib.sha256(file.read_bytes()).hexdigest()}])
    for file in sorted(folder.iterdir()) if re.search(r"\.(deb|tar\.xz)$", file.name)
]
tools = [
    package(name, release, externalRefs=[{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                                          "referenceLocator": f"pkg:deb/debian/{name}@{release}"}])
    for name, release in used
]
json.dump({
    "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": f"ryntool-{version}",
    "documentNamespace": f"urn:ryntool:{version}", "creationInfo": {"created": date, "creators": ["Tool: Packaging/sbom.py"]},
    "packages": made + tools,
    "relationships": [{"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES", "relatedSpdxElement": each["SPDXID"]}
                      for each in made]
    + [{"spdxElementId": tool["SPDXID"], "relationshipType": "BUILD_DEPENDENCY_OF", "relatedSpdxElement": each["SPDXID"]}
       for tool in tools for each in made],
}, sys.stdout, indent=1)
