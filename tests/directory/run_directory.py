#!/usr/bin/env python3
"""Starts an OpenLDAP server on loopback with people of its own and runs directory_test against it.

Usage: run_directory.py DIRECTORY_TEST

100,000 people. ldapsearch, when it is there, must count as many and as many members. A server of
our own sends large groups in parts. Without slapd the test is skipped.
"""
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import time

import ranged_server

PEOPLE = 100_000
BASE = "dc=example,dc=org"
SLAPD = shutil.which("slapd", path="/usr/sbin:/usr/local/sbin:" + os.environ.get("PATH", ""))
GROUPS = 3
EVERYBODY = "(|(objectClass=person)(objectClass=groupOfNames))"


def write_people(path, count):
    with open(path, "w", encoding="utf-8") as out:
        out.write(f"dn: {BASE}\nobjectClass: dcObject\nobjectClass: organization\no: Example\n"
                  f"dc: example\n\ndn: ou=People,{BASE}\nobjectClass: organizationalUnit\n"
                  "ou: People\n\n")
        for i in range(count):
            out.write(f"dn: uid=u{i},ou=People,{BASE}\nobjectClass: inetOrgPerson\nuid: u{i}\n"
                      f"cn: Person {i}\nsn: Name {i}\ngivenName: Pérsön\ndisplayName: Shown {i}\n"
                      f"mail: u{i}@example.org\ntelephoneNumber: {i}\no: Example\n\n")
        members = "".join(f"member: uid=u{i},ou=People,{BASE}\n" for i in range(0, count, 10))
        out.write(f"dn: cn=Tenth,{BASE}\nobjectClass: groupOfNames\ncn: Tenth\n{members}\n")
        out.write(f"dn: cn=Ring,{BASE}\nobjectClass: groupOfNames\ncn: Ring\n"
                  f"member: cn=Tenth,{BASE}\nmember: cn=Ring,{BASE}\nmember: cn=Gone,{BASE}\n\n")
        out.write(f"dn: cn=Boss\\, The,{BASE}\nobjectClass: groupOfNames\ncn: Boss, The\n"
                  f"member: UID=u1, ou=people,{BASE}\n\n")


def make_certificate(folder):
    """A key and a certificate for localhost that signs itself, or nothing without openssl."""
    if not shutil.which("openssl"):
        return None
    key, certificate = folder / "key.pem", folder / "certificate.pem"
    # The library takes localhost for the machine's own name.
    names = {"localhost", socket.gethostname(), socket.getfqdn()}
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                    "-subj", "/CN=localhost", "-addext", "subjectAltName=" + ",".join(f"DNS:{n}" for n in sorted(names)),
                    "-keyout", key, "-out", certificate], check=True, capture_output=True)
    return key, certificate


def write_configuration(folder, certificate):
    tls = (f"TLSCertificateKeyFile {certificate[0]}\nTLSCertificateFile {certificate[1]}\n"
           if certificate else "")
    data = folder / "data"
    data.mkdir()
    (folder / "slapd.conf").write_text(f"""\
include /etc/ldap/schema/core.schema
include /etc/ldap/schema/cosine.schema
include /etc/ldap/schema/inetorgperson.schema
pidfile {folder}/pid
modulepath /usr/lib/ldap
moduleload back_mdb
{tls}
# Whoever asks for everything at once gets a part: only paging shows all.
sizelimit size.soft=600 size.hard=600 size.prtotal=unlimited
access to attrs=telephoneNumber by users read by * none
access to * by * read
database mdb
maxsize 1073741824
directory {data}
suffix "{BASE}"
rootdn "cn=admin,{BASE}"
rootpw secret
limits users size.soft=600 size.hard=600 size.prtotal=unlimited
index objectClass eq
""")


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def start(folder):
    """The server and its port; ports may be taken meanwhile, so it is tried more than once."""
    for _ in range(5):
        port = free_port()
        log = open(folder / "log", "w", encoding="utf-8")
        server = subprocess.Popen([SLAPD, "-f", folder / "slapd.conf", "-d", "0",
                                   "-h", f"ldap://localhost:{port}/"], stdout=log, stderr=log)
        for _ in range(300):
            if server.poll() is not None:
                break
            try:
                socket.create_connection(("localhost", port), 1).close()
                return server, port
            except OSError:
                time.sleep(0.1)
        server.kill()
        server.wait()
    print((folder / "log").read_text(encoding="utf-8"))
    raise RuntimeError("the directory server does not start")


def main():
    if SLAPD is None or not pathlib.Path("/etc/ldap/schema/inetorgperson.schema").exists():
        print("slapd is unavailable: install the package slapd")
        return 77
    people = PEOPLE
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        certificate = make_certificate(folder)
        write_configuration(folder, certificate)
        write_people(folder / "people.ldif", people)
        subprocess.run([shutil.which("slapadd", path=os.path.dirname(SLAPD)), "-q", "-f",
                        folder / "slapd.conf", "-l", folder / "people.ldif"], check=True)
        server, port = start(folder)
        try:
            ranged = ranged_server.start()
            environment = dict(os.environ, PV_DIRECTORY=f"localhost:{port}/{BASE}",
                               PV_DIRECTORY_PEOPLE=str(people),
                               PV_RANGED=f"127.0.0.1:{ranged.getsockname()[1]}",
                               PV_RANGED_MEMBERS=str(ranged_server.MEMBERS))
            environment.pop("PVGROUP_LDAP_PASSWORD", None)
            runs = [("-*Trusted*", {})]
            if certificate:
                runs.append(("*Trusted*", {"LDAPTLS_CACERT": str(certificate[1])}))
            for pattern, more in runs:
                subprocess.run([sys.argv[1], "--gtest_filter=" + pattern],
                               env=dict(environment, **more), check=True)
            if shutil.which("ldapsearch"):
                def search(*what):
                    return subprocess.run(
                        ["ldapsearch", "-x", "-LLL", "-o", "ldif-wrap=no", "-H",
                         f"ldap://localhost:{port}", "-b", BASE, "-E", "pr=500/noprompt", *what],
                        check=True, capture_output=True).stdout.decode()

                # What directory_test has counted, by another program.
                found = search(EVERYBODY, "1.1")
                if found.count("dn:") != people + GROUPS:
                    print(f"ldapsearch counts {found.count('dn:')} entries")
                    return 1
                tenth = search("(cn=Tenth)", "member").count("member: ")
                if tenth != people // 10:
                    print(f"ldapsearch counts {tenth} members")
                    return 1
            else:
                print("ldapsearch is unavailable: install the package ldap-utils")
            ranged.close()
        finally:
            server.terminate()
            server.wait()
    return 0


if __name__ == "__main__":
    sys.exit(main())
