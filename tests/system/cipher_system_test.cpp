/// @file
/// Does with the ciphers what cipher_system_test.py asks for: cipher_system_test JOBS RESULTS.
///
/// JOBS is a sequence of jobs: `A`, pass phrase, IV, messages; or `R`, pass phrase, messages. Byte
/// strings are a 32-bit length and the bytes, and the messages are a 32-bit number and so many byte
/// strings. RESULTS then has for each message the results of its encryption and of its decryption
/// as byte strings. For `R` the byte behind the decryption is the last of its string.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "CWinAES.h"
#include "CWinRSA.h"

namespace
{

using Bytes = std::vector<unsigned char>;

class Jobs
{
public:
    explicit Jobs(const char* path) : vm_file(path, std::ios::binary) {}

    bool Next(char& kind) { return static_cast<bool>(vm_file.get(kind)); }

    std::uint32_t ReadNumber()
    {
        std::uint32_t number = 0;
        vm_file.read(reinterpret_cast<char*>(&number), sizeof(number));
        return number;
    }

    Bytes Read()
    {
        Bytes bytes(ReadNumber());
        vm_file.read(reinterpret_cast<char*>(bytes.data()),
                     static_cast<std::streamsize>(bytes.size()));
        return bytes;
    }

private:
    std::ifstream vm_file;
};

void Write(std::ofstream& file, const unsigned char* bytes, int length)
{
    file.write(reinterpret_cast<const char*>(&length), sizeof(length));
    file.write(reinterpret_cast<const char*>(bytes), length);
}

/// @param terminator how many bytes behind a decryption are written with it.
template <class Cipher>
void Transform(Cipher& cipher, int terminator, Jobs& jobs, std::ofstream& results)
{
    for (std::uint32_t left = jobs.ReadNumber(); left > 0; --left)
    {
        const Bytes message = jobs.Read();
        const auto length = static_cast<int>(message.size());
        const int encrypted = cipher.m_F_n_Encrypt(message.data(), length);
        const int decrypted = cipher.m_F_n_Decrypt(message.data(), length);
        Write(results, cipher.m_F_p_GetEncBuf(), encrypted);
        Write(results, cipher.m_F_p_GetDecBuf(), decrypted + terminator);
    }
}

bool DoAes(Jobs& jobs, std::ofstream& results)
{
    const Bytes passPhrase = jobs.Read();
    const Bytes iv = jobs.Read();
    CWinAES aes;
    const auto length = static_cast<unsigned int>(passPhrase.size());
    const bool isReady = aes.m_F_b_Init(passPhrase.data(), length, iv.data());
    Transform(aes, 0, jobs, results);
    return isReady;
}

bool DoRsa(Jobs& jobs, std::ofstream& results)
{
    const Bytes passPhrase = jobs.Read();
    CWinRSA rsa;
    const auto length = static_cast<int>(passPhrase.size());
    const bool isReady = rsa.m_F_b_Init(passPhrase.data(), length);
    Transform(rsa, 1, jobs, results);
    return isReady;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        return 2;
    }
    Jobs jobs(argv[1]);
    std::ofstream results(argv[2], std::ios::binary);
    int count = 0;
    for (char kind = 0; jobs.Next(kind); ++count)
    {
        if (!(kind == 'A' ? DoAes(jobs, results) : DoRsa(jobs, results)))
        {
            std::printf("no key for job %d\n", count);
            return 1;
        }
    }
    std::printf("%d jobs\n", count);
    return count > 0 && results ? 0 : 1;
}
