#!/usr/bin/env python3
"""Has a Windows program encrypt and decrypt, and compares with OpenSSL.

usage: cipher_system_test.py FOLDER COMMAND...

FOLDER is made anew. Every message is transformed by OpenSSL's library, called directly; some are
also given to its command, in just the way that docs/ciphers.md tells.
"""
import ctypes
import hashlib
import os
import random
import shutil
import struct
import subprocess
import sys

OPENSSL = "/usr/bin/openssl"
LONGEST_MESSAGE = 2100
LONGEST_PASS_PHRASE = 300
LONGEST_AES_MESSAGE = 991
BLOCK = 16


class Library:
    """OpenSSL's own ciphers."""

    def __init__(self):
        self.crypto = ctypes.CDLL("libcrypto.so.3")
        for name in ("OSSL_PROVIDER_load", "EVP_CIPHER_fetch", "EVP_CIPHER_CTX_new"):
            getattr(self.crypto, name).restype = ctypes.c_void_p
        for provider in (b"default", b"legacy"):
            if not self.crypto.OSSL_PROVIDER_load(None, provider):
                raise RuntimeError(f"OpenSSL has no provider {provider}")
        self.ciphers = {}

    def transform(self, name, key, iv, data, encrypt):
        if name not in self.ciphers:
            self.ciphers[name] = self.crypto.EVP_CIPHER_fetch(None, name, None)
        cipher = ctypes.c_void_p(self.ciphers[name])
        context = ctypes.c_void_p(self.crypto.EVP_CIPHER_CTX_new())
        out = ctypes.create_string_buffer(len(data) + 1)
        length = ctypes.c_int()
        if self.crypto.EVP_CipherInit_ex(context, cipher, None, key, iv, int(encrypt)) != 1 or \
                self.crypto.EVP_CipherUpdate(context, out, ctypes.byref(length), data, len(data)) != 1:
            raise RuntimeError(f"OpenSSL refuses {name}")
        self.crypto.EVP_CIPHER_CTX_free(context)
        return out.raw[:length.value]

    def aes(self, key, iv, data, encrypt):
        return self.transform(b"AES-128-CFB8", key, iv, data, encrypt)

    def rc4(self, key, data):
        return self.transform(b"RC4", key, None, data, True)


class Command:
    """The same through OpenSSL's command."""

    @staticmethod
    def run(data, *arguments):
        return subprocess.run([OPENSSL, "enc", *arguments], input=data, check=True,
                              stdout=subprocess.PIPE).stdout

    def aes(self, key, iv, data, encrypt):
        return self.run(data, "-e" if encrypt else "-d", "-aes-128-cfb8", "-nopad",
                        "-K", key.hex(), "-iv", iv.hex())

    def rc4(self, key, data):
        return self.run(data, "-e", "-rc4", "-provider", "default", "-provider", "legacy",
                        "-K", key.hex())


def aes_key(pass_phrase):
    """What the public documentation of CryptDeriveKey describes for AES with SHA-1."""
    block = hashlib.sha1(pass_phrase).digest().ljust(64, b"\0")
    halves = [hashlib.sha1(bytes(byte ^ mask for byte in block)).digest() for mask in (0x36, 0x5C)]
    return b"".join(halves)[:BLOCK]


def rc4_key(pass_phrase):
    return hashlib.md5(pass_phrase).digest()


def pad(message):
    count = BLOCK - len(message) % BLOCK
    return message + bytes([count]) * count


def unpad(message):
    """Without its padding; as it is, when there is none."""
    count = message[-1] if message else 0
    is_padding = 0 < count <= min(BLOCK, len(message)) and message.endswith(bytes([count]) * count)
    return message[:-count] if is_padding else message


def expected_aes(openssl, pass_phrase, iv, message):
    """The encryption of the message and its decryption."""
    key = aes_key(pass_phrase)
    padded = pad(message)
    if len(message) <= LONGEST_AES_MESSAGE:
        encrypted = openssl.aes(key, iv, padded, True)
    else:
        # Refused: reported is the size that it would have had.
        encrypted = message.ljust(len(padded), b"\0")
    return encrypted, unpad(openssl.aes(key, iv, message, False))


def expected_rsa(openssl, pass_phrase, message):
    result = openssl.rc4(rc4_key(pass_phrase), message)
    return result, result + b"\0"


class Test:
    def __init__(self):
        self.random = random.Random(20)
        self.library = Library()
        self.command = Command()
        self.jobs = []
        self.failures = 0

    def bytes(self, length):
        return self.random.getrandbits(8 * length).to_bytes(length, "little") if length else b""

    def add_all(self):
        """Every length of message and of pass phrase; making a key takes longer than using it."""
        lengths = list(range(LONGEST_MESSAGE + 1))
        self.random.shuffle(lengths)
        phrases = LONGEST_PASS_PHRASE + 1
        for phrase_length in range(phrases):
            chosen = lengths[phrase_length::phrases]
            aes_phrase, iv = self.bytes(phrase_length), self.bytes(BLOCK)
            messages = [self.bytes(length) for length in chosen]
            # What OpenSSL encrypted is to be decrypted to the message.
            encrypted = [self.library.aes(aes_key(aes_phrase), iv, pad(message), True)
                         for message in messages]
            self.jobs.append(("A", aes_phrase, iv, messages + encrypted))
            self.jobs.append(("R", self.bytes(phrase_length), None, messages))
        long_messages = [self.bytes(length) for length in (4096, 65536, 1000000)]
        self.jobs.append(("R", self.bytes(20), None, long_messages))
        self.jobs.append(("A", self.bytes(20), self.bytes(BLOCK), long_messages[:2]))

    def all_messages(self):
        for kind, pass_phrase, iv, messages in self.jobs:
            for message in messages:
                yield kind, pass_phrase, iv, message

    @staticmethod
    def expected(openssl, job):
        kind, pass_phrase, iv, message = job
        if kind == "A":
            return expected_aes(openssl, pass_phrase, iv, message)
        return expected_rsa(openssl, pass_phrase, message)

    def write_jobs(self, path):
        with open(path, "wb") as file:
            for kind, pass_phrase, iv, messages in self.jobs:
                file.write(kind.encode())
                for part in (pass_phrase, iv) if kind == "A" else (pass_phrase,):
                    file.write(struct.pack("<I", len(part)) + part)
                file.write(struct.pack("<I", len(messages)))
                for message in messages:
                    file.write(struct.pack("<I", len(message)) + message)

    def fail(self, job, what):
        kind, pass_phrase, _, message = job
        self.failures += 1
        print(f"FAILED {kind}: pass phrase of {len(pass_phrase)}, message of {len(message)}: {what}")

    def check(self, file):
        def read():
            length, = struct.unpack("<i", file.read(4))
            return file.read(length)

        count = 0
        for job in self.all_messages():
            count += 1
            for what, wanted in zip(("encryption", "decryption"), self.expected(self.library, job)):
                found = read()
                # A provider may refuse what is no whole number of blocks, or decrypt it.
                is_partial = what == "decryption" and job[0] == "A" and len(job[3]) % BLOCK
                if found != wanted and not (is_partial and len(found) <= len(job[3])):
                    self.fail(job, f"the {what} of {len(found)} bytes is not OpenSSL's "
                                   f"of {len(wanted)}")
        if file.read(1):
            self.failures += 1
            print("FAILED: more results than messages")
        return count

    def check_command(self):
        """The command agrees with the library, so that what is documented can be done."""
        jobs = [job for job in self.all_messages() if len(job[3]) in (0, 5, 16, 991, 1001, 2000)]
        for job in jobs:
            if self.expected(self.command, job) != self.expected(self.library, job):
                self.fail(job, "OpenSSL's command and library do not agree")
        return len(jobs)


def main():
    folder = os.path.abspath(sys.argv[1])
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    test = Test()
    test.add_all()
    jobs, results = os.path.join(folder, "jobs"), os.path.join(folder, "results")
    test.write_jobs(jobs)
    subprocess.run(sys.argv[2:] + ["Z:" + jobs, "Z:" + results], check=True)
    with open(results, "rb") as file:
        messages = test.check(file)
    commands = test.check_command()
    print(f"{messages} messages under {len(test.jobs)} keys compared, {commands} also by the command, "
          f"{test.failures} failures")
    return 1 if test.failures or not commands else 0


sys.exit(main())
