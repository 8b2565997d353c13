#!/usr/bin/python3
"""Writes the unsigned documents the signed fixtures start from, with pikepdf (qpdf)."""
import sys

import pikepdf


def page(pdf, text):
    content = pdf.make_stream(
        b"BT /F1 18 Tf 72 720 Td (" + text.encode() + b") Tj ET")
    font = pikepdf.Dictionary(Type=pikepdf.Name.Font, Subtype=pikepdf.Name.Type1,
                              BaseFont=pikepdf.Name.Helvetica)
    return pikepdf.Dictionary(
        Type=pikepdf.Name.Page,
        MediaBox=[0, 0, 595, 842],
        Contents=content,
        Resources=pikepdf.Dictionary(Font=pikepdf.Dictionary(F1=font)))


def main(out_dir):
    pdf = pikepdf.new()
    pdf.pages.append(pikepdf.Page(page(pdf, "Contratto di prova - pagina 1")))
    pdf.pages.append(pikepdf.Page(page(pdf, "Contratto di prova - pagina 2")))
    pdf.docinfo["/Title"] = "Sigilo test document"
    # A classic table: the plain placeholder tool appends revisions to such a file.
    pdf.save(out_dir + "/base.pdf", object_stream_mode=pikepdf.ObjectStreamMode.disable,
             compress_streams=True, static_id=True)
    # The same document with a cross-reference stream and object streams.
    pdf.save(out_dir + "/base-xrefstream.pdf",
             object_stream_mode=pikepdf.ObjectStreamMode.generate, static_id=True)


if __name__ == "__main__":
    main(sys.argv[1])
