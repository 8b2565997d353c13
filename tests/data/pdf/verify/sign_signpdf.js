// adbe.pkcs7.detached signatures by @signpdf (npm) with its plain placeholder, which appends
// each signature as an incremental update. The signers' PKCS#12 files are made by
// make_signed.sh from the engine test PKI. Run by make_signed.sh.
const fs = require('fs');
const {plainAddPlaceholder} = require('@signpdf/placeholder-plain');
const {P12Signer} = require('@signpdf/signer-p12');
const signpdf = require('@signpdf/signpdf').default;

const [base, p12Dir, outDir] = process.argv.slice(2);
const when = new Date('2024-05-06T07:08:09Z');
const signer = (name) =>
    new P12Signer(fs.readFileSync(`${p12Dir}/${name}.p12`), {passphrase: 'sigilo'});

function placeholder(pdfBuffer, name) {
    return plainAddPlaceholder({
        pdfBuffer, reason: 'Prova', contactInfo: 'firma@example.org', name, location: 'Roma',
        signingTime: when, signatureLength: 4000,
    });
}

async function main() {
    const doc = fs.readFileSync(base);
    const one = await signpdf.sign(placeholder(doc, 'Firmatario Buono'), signer('good'), when);
    fs.writeFileSync(`${outDir}/signpdf.pdf`, one);
    const two = await signpdf.sign(placeholder(one, 'Secondo Firmatario'), signer('second'), when);
    fs.writeFileSync(`${outDir}/signpdf-twice.pdf`, two);
    fs.writeFileSync(`${outDir}/signpdf-revoked.pdf`,
                     await signpdf.sign(placeholder(doc, 'Revocato'), signer('revoked'), when));
}

main().catch((e) => {
    console.error(e);
    process.exit(1);
});
