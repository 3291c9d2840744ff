"""The server through TLS, and its certificate's renewal.

    serve_tls_test.py PROGRAM
"""

import datetime
import http.client
import signal
import socket
import ssl
import subprocess
import warnings

from command_case import main
from server_case import SERVICE, ServerTest, enumeration

FILES = ("cert.pem", "key.pem")


class CertificateTest(ServerTest):
    def texts(self):
        return [(self.folder / name).read_bytes() for name in FILES]

    def write(self, *texts):
        """Puts new files in the place of the old ones, as programs that renew certificates do."""
        for name, text in zip(FILES, texts):
            new = self.folder / "new.pem"
            new.write_bytes(text)
            new.chmod(0o600)
            new.rename(self.folder / name)

    def let_it_end(self):
        """The certificate of the same key ended yesterday."""
        def openssl(*arguments):
            subprocess.run(["openssl", *arguments], check=True, capture_output=True, cwd=self.folder)
        openssl("req", "-new", "-key", "key.pem", "-subj", "/CN=localhost", "-out", "request.pem")
        yesterday = datetime.date.today() - datetime.timedelta(days=1)
        # Each release of OpenSSL takes one of them.
        for ending in (["-days", "-1"],
                       ["-not_before", "20200101000000Z", "-not_after", f"{yesterday:%Y%m%d}000000Z"]):
            try:
                return openssl("x509", "-req", "-in", "request.pem", "-signkey", "key.pem", *ending,
                               "-out", "cert.pem")
            except subprocess.CalledProcessError as refused:
                error = refused
        raise error

    def faults(self, own, other):
        """Ways in which certificate and key can be wrong, and what is said of them."""
        certificate, key = own
        yield lambda: self.write(b"rubbish", key), "cert.pem.*the certificate cannot be read"
        yield lambda: self.write(b"", key), "cert.pem.*the certificate cannot be read"
        yield (lambda: self.write(certificate[:300], key),
               "cert.pem.*the certificate cannot be read")
        yield lambda: self.write(certificate, key[:300]), "key.pem.*the key cannot be read"
        yield lambda: self.write(certificate, b"rubbish"), "no private key in .*key.pem"
        yield lambda: self.write(other[0], key), "cert.pem.*the key is not the certificate's"
        yield lambda: self.write(certificate, other[1]), "the key is not the certificate's"
        def open_key():
            self.write(certificate, key)
            (self.folder / "key.pem").chmod(0o644)
        yield open_key, "key.pem is open to everybody; chmod 600 it"
        yield (self.folder / "key.pem").unlink, "cannot read .*key.pem: No such file"


class Tls(CertificateTest):
    def test_clients_of_old_versions_and_without_it_are_refused(self):
        self.make_user()
        url = self.serve("--users", "users", *self.make_certificate())
        self.assertTrue(url.startswith("https://"))
        self.assertEqual(self.count(SERVICE, user="operator:secret"), 1)
        self.assertEqual(self.ask(enumeration(SERVICE))[0], 401)
        plain = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        self.addCleanup(plain.close)
        with self.assertRaises((http.client.HTTPException, OSError)):
            plain.request("POST", "/cimom", "x")
            plain.getresponse()
        old = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        old.check_hostname, old.verify_mode = False, ssl.CERT_NONE
        old.set_ciphers("ALL:@SECLEVEL=0")
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", DeprecationWarning)
            old.minimum_version = old.maximum_version = ssl.TLSVersion.TLSv1_1
        with socket.create_connection(("127.0.0.1", self.port)) as client:
            with self.assertRaises(OSError):
                old.wrap_socket(client)
        self.assertEqual(self.count(SERVICE, user="operator:secret"), 1)

    def test_certificate_that_cannot_serve_is_refused_with_its_file(self):
        self.make_certificate()
        other = self.texts()
        options = ["--no-auth", "--port", "0", *self.make_certificate()]
        own = self.texts()
        for change, says in self.faults(own, other):
            change()
            self.run_command("serve", *options)
            self.expect_one_line(3, says)

    def test_one_out_of_date_serves_and_is_complained_of(self):
        options = self.make_certificate()
        self.let_it_end()
        self.serve("--no-auth", *options)
        self.assertEqual(self.end(), 0)
        self.assertRegex(self.errors, r"\Ahddtest: clients will refuse the certificate cert.pem: it "
                                      r"ended on \d{4}-\d\d-\d\d; renew it, and send SIGHUP\n\Z")


class Renewal(CertificateTest):
    def certificate_of_server(self):
        return ssl.get_server_certificate(("127.0.0.1", self.port), timeout=60)

    def reload(self, says):
        """Sends SIGHUP; waits for this further line of the log."""
        before = self.log.read_text(errors="replace").count(says)
        self.process.send_signal(signal.SIGHUP)
        self.wait_for(lambda: self.log.read_text(errors="replace").count(says) > before, says)

    def test_renewed_one_is_taken_and_connections_go_on(self):
        self.make_user()
        self.serve("--users", "users", *self.make_certificate())
        user = "operator:secret"
        before = self.certificate_of_server()
        standing = self.connect()
        self.assertEqual(self.count(SERVICE, user=user, connection=standing), 1)
        self.make_certificate()
        self.reload("read the certificate")
        after = self.certificate_of_server()
        self.assertNotEqual(after, before)
        self.assertEqual(after.strip(), (self.folder / "cert.pem").read_text().strip())
        self.assertEqual(self.count(SERVICE, user=user), 1)
        self.assertEqual(self.count(SERVICE, user=user, connection=standing), 1)
        self.assertEqual(self.end(), 0)
        self.assertEqual(self.errors, "")

    def test_faulty_one_leaves_the_one_before(self):
        self.make_certificate()
        other = self.texts()
        self.make_user()
        self.serve("--users", "users", *self.make_certificate())
        own, before, standing = self.texts(), self.certificate_of_server(), self.connect()
        user, said = "operator:secret", []
        self.assertEqual(self.count(SERVICE, user=user, connection=standing), 1)
        for change, says in [*self.faults(own, other),
                             (self.let_it_end, r"cert.pem: it ended on [\d-]{10}; renew it")]:
            self.write(*own)
            change()
            self.reload("the certificate stays as it was")
            said.append(rf"hddtest: .*{says}.*; the certificate stays as it was\n")
            self.assertEqual(self.certificate_of_server(), before)
            self.assertEqual(self.count(SERVICE, user=user, connection=standing), 1)
        self.write(*other)
        self.reload("read the certificate")
        self.assertNotEqual(self.certificate_of_server(), before)
        self.assertEqual(self.end(), 0)
        self.assertRegex(self.errors, rf"\A{''.join(said)}\Z")

    def test_users_are_read_again_whatever_becomes_of_the_certificate(self):
        self.make_user()
        self.serve("--users", "users", *self.make_certificate())
        self.make_user("second", "two")
        certificate = self.texts()[0]
        self.write(b"rubbish")
        self.reload("the certificate stays as it was")
        self.write(certificate)  # for the client, which trusts it
        self.assertEqual(self.count(SERVICE, user="second:two"), 1)


if __name__ == "__main__":
    main()
