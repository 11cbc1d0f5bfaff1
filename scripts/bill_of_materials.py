#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes an SPDX 2.3 bill of materials beside each Debian package: bill_of_materials.py PACKAGE.deb...

It names the package with its checksum, its files with theirs, the packages that it depends on, and the
header libraries that are compiled into the tool, in the versions installed here. DPKG_ADMINDIR names
another dpkg database, as scripts/package_armhf.sh has one. The same package gives the same bill.
"""
import hashlib
import json
import os
import re
import subprocess
import sys
import tempfile
from datetime import datetime, timezone
from pathlib import Path

LICENSE = "Apache-2.0"
# Header libraries leave no dependency behind: what is compiled in, by package.
COMPILED_IN = {"zqm-trx-tools": [("libcli11-dev", "BSD-3-Clause"), ("nlohmann-json3-dev", "MIT")]}


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def digest(algorithm, path):
    return hashlib.new(algorithm, path.read_bytes()).hexdigest()


def id_of(kind, name):
    return f"SPDXRef-{kind}-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)


def foreign_package(name, version, license_id):
    package = {"name": name, "SPDXID": id_of("Package", name), "downloadLocation": "NOASSERTION",
               "filesAnalyzed": False, "licenseConcluded": license_id,
               "licenseDeclared": license_id, "copyrightText": "NOASSERTION"}
    if version:
        package["versionInfo"] = version
    return package


def files_of(package):
    """The SPDX files of a package, in the order of their names."""
    with tempfile.TemporaryDirectory() as folder:
        run("dpkg-deb", "-x", str(package), folder)
        paths = sorted(p for p in Path(folder).rglob("*") if p.is_file() and not p.is_symlink())
        return [{"fileName": "./" + str(path.relative_to(folder)),
                 "SPDXID": f"SPDXRef-File-{number}",
                 "checksums": [{"algorithm": name.upper(), "checksumValue": digest(name, path)}
                               for name in ("sha1", "sha256")],
                 "licenseConcluded": LICENSE, "licenseInfoInFiles": ["NOASSERTION"],
                 "copyrightText": "NOASSERTION"} for number, path in enumerate(paths, 1)]


def verification_code(files):
    sums = sorted(file["checksums"][0]["checksumValue"] for file in files)
    return hashlib.sha1("".join(sums).encode()).hexdigest()


def packed_at(package):
    """When the package was packed, which is SOURCE_DATE_EPOCH: the time of the first archive member."""
    with open(package, "rb") as file:
        seconds = int(file.read(36)[24:36])
    return datetime.fromtimestamp(seconds, timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")


def bill_of(package):
    name, version, architecture = (run("dpkg-deb", "-f", str(package), field).strip()
                                   for field in ("Package", "Version", "Architecture"))
    depends = run("dpkg-deb", "-f", str(package), "Depends").strip()
    own, sha256, files = id_of("Package", name), digest("sha256", package), files_of(package)
    packages = [{"name": name, "SPDXID": own, "versionInfo": version,
                 "packageFileName": package.name, "downloadLocation": "NOASSERTION",
                 "filesAnalyzed": True,
                 "packageVerificationCode": {"packageVerificationCodeValue": verification_code(files)},
                 "checksums": [{"algorithm": "SHA256", "checksumValue": sha256}],
                 "licenseConcluded": LICENSE, "licenseDeclared": LICENSE,
                 "licenseInfoFromFiles": ["NOASSERTION"],
                 "copyrightText": "2026 the zqm_trx authors"}]
    relations = [("SPDXRef-DOCUMENT", "DESCRIBES", own)]
    relations += [(own, "CONTAINS", file["SPDXID"]) for file in files]
    for needed in sorted({re.split(r"[ (|]", part.strip())[0]
                          for part in depends.split(",") if part.strip()}):
        packages.append(foreign_package(needed, None, "NOASSERTION"))
        relations.append((own, "DEPENDS_ON", id_of("Package", needed)))
    for part, license_id in COMPILED_IN.get(name, []):
        admin = os.environ.get("DPKG_ADMINDIR", "/var/lib/dpkg")
        part_version = run("dpkg-query", f"--admindir={admin}", "-W", "-f=${Version}", part)
        packages.append(foreign_package(part, part_version, license_id))
        relations.append((own, "STATIC_LINK", id_of("Package", part)))
    return {"spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
            "name": f"{name}_{version}_{architecture}",
            "documentNamespace": f"https://zqm-trx.invalid/spdx/{name}-{architecture}-{sha256}",
            "creationInfo": {"created": packed_at(package),
                             "creators": ["Organization: the zqm_trx authors",
                                          "Tool: bill_of_materials.py"]},
            "packages": packages, "files": files,
            "relationships": [{"spdxElementId": a, "relationshipType": kind, "relatedSpdxElement": b}
                              for a, kind, b in relations]}


def main():
    if len(sys.argv) < 2:
        sys.exit("usage: bill_of_materials.py PACKAGE.deb...")
    for name in sys.argv[1:]:
        bill = Path(name).with_suffix(".spdx.json")
        bill.write_text(json.dumps(bill_of(Path(name)), indent=1) + "\n")
        print(f"bill of materials {bill.name}")


main()
