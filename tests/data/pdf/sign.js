// Signs the base documents with @signpdf: the plain placeholder (incremental updates with
// classic tables) and the pdf-lib placeholder (rewritten files). Run by make_pdfs.sh.
const fs = require('fs');
const {plainAddPlaceholder} = require('@signpdf/placeholder-plain');
const {pdflibAddPlaceholder} = require('@signpdf/placeholder-pdf-lib');
const {P12Signer} = require('@signpdf/signer-p12');
const signpdf = require('@signpdf/signpdf').default;
const {PDFDocument} = require('pdf-lib');
const utils = require('@signpdf/utils');

const dir = process.argv[2];
// A P12Signer reads its key once: one per signature.
const signer = () => new P12Signer(fs.readFileSync(`${dir}/work/signer.p12`), {passphrase: 'sigilo'});
const when = new Date('2024-05-06T07:08:09Z');

function plain(pdfBuffer, name, subFilter) {
    return plainAddPlaceholder({
        pdfBuffer, reason: 'Approvazione (test)', contactInfo: 'firma@example.org', name,
        location: 'Roma', signingTime: when, signatureLength: 3000, subFilter,
    });
}

async function withPdfLib(base, useObjectStreams, subFilter) {
    const doc = await PDFDocument.load(base);
    pdflibAddPlaceholder({
        pdfDoc: doc, reason: 'Firma pdf-lib', contactInfo: 'firma@example.org',
        name: 'PDF Lib', location: 'Milano', signingTime: when, signatureLength: 3000, subFilter,
    });
    return Buffer.from(await doc.save({useObjectStreams}));
}

async function main() {
    const base = fs.readFileSync(`${dir}/base.pdf`);
    const one = await signpdf.sign(plain(base, 'Primo firmatario'), signer(), when);
    fs.writeFileSync(`${dir}/signed-plain.pdf`, one);
    const two = await signpdf.sign(plain(one, 'Secondo firmatario'), signer(), when);
    fs.writeFileSync(`${dir}/signed-twice.pdf`, two);
    const cades = await signpdf.sign(
        plain(base, 'CAdES', utils.SUBFILTER_ETSI_CADES_DETACHED), signer(), when);
    fs.writeFileSync(`${dir}/signed-cades.pdf`, cades);
    // An unsigned placeholder: the tool's all-zero /Contents and its /ByteRange placeholder.
    fs.writeFileSync(`${dir}/placeholder-plain.pdf`, plain(base, 'Vuoto'));
    fs.writeFileSync(`${dir}/signed-pdflib.pdf`,
                     await signpdf.sign(await withPdfLib(base, false), signer(), when));
}

main().catch((e) => {
    console.error(e);
    process.exit(1);
});
