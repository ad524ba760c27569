#!/usr/bin/python3
"""Bit-exact replay of the IIR designs, for tests/iir/IirExactTest.cpp.

Each design step (order estimate, prototype sections, band mapping with
pre-warping, bilinear transform, section product, frequency response) is
written out here in Python doubles with the same operation order as the
designer's own algorithm and the same C math library (math.tan, math.cos,
math.log10, ** all call libm). The C++ designs must reproduce these numbers bit
for bit; gen_reference.py checks the same filters against scipy to a tolerance.

Writes designs_exact.txt beside this script; rerunning it reproduces the file
byte for byte (on the same C library):
  case <method> <band> <fs> <f1> <f2> <f3> <f4> <Ap> <As> <order>
  coef <k> <b_k> <a_k>            (hex floats, k = 0 .. order + 2)
  resp <i> <freq> <dB> <phase>    (hex floats, every 97th of 2048 points)
  end
method 0 Butterworth, 1 Chebyshev I, 2 Chebyshev II; band 1 LP, 2 HP, 3 BP,
4 BS. A refused design has order -1 and no coef/resp lines.
"""

import math
import os

import math
PI = 4*math.atan(1.0)
def ff(n,k):
    if n<0 or k<0 or k>n: return 0
    p=1
    for i in range(k): p*= (n-i)
    return p
def estimate_spec(e, fs, ap, as_, T, est):
    e=list(e)
    t1=math.tan(PI*e[0]/fs); t2=math.tan(PI*e[1]/fs)
    x1=10.0**(ap/10.0)-1.0; x2=10.0**(as_/10.0)-1.0
    k=t1/t2
    if T==2: e[0]=e[1]; e[1]=0.0
    elif T==3:
        t3=math.tan(PI*e[2]/fs); t4=math.tan(PI*e[3]/fs)
        om=lambda t:(t*t-t2*t3)/(t*(t3-t2))
        k=max(om(t3)/om(t4), om(t2)/om(t1)); e[0]=e[1]; e[1]=e[2]
    elif T==4:
        t3=math.tan(PI*e[2]/fs); t4=math.tan(PI*e[3]/fs)
        om=lambda t:t*(t4-t1)/(t*t-t1*t4)
        k=max(om(t1)/om(t2), om(t4)/om(t3)); e[0]=e[1]; e[1]=e[3]
    return int(est(x1,x2,k)), e
def bilinear(b,a,count):
    m=-1
    for j in range(len(b)-1,-1,-1):
        if abs(b[j])>1e-10 or abs(a[j])>1e-10: m=j; break
    if m<0: return None
    P=[[0.0]*(m+1) for _ in range(m+1)]
    P[0][0]=1.0
    for j in range(1,m+1): P[0][j]=P[0][j-1]*(m-j+1)/j
    for k in range(1,m+1):
        P[k][0]=1.0
        for j in range(1,m+1): P[k][j]=P[k-1][j]-P[k-1][j-1]-P[k][j-1]
    d=[];e=[]
    for j in range(m+1):
        sb=0.0;sa=0.0
        for k in range(m+1):
            sb+=b[k]*P[k][j]; sa+=a[k]*P[k][j]
        d.append(sb);e.append(sa)
    e0=e[0]
    d=[x/e0 for x in d]; e=[x/e0 for x in e]
    return (d+[0.0]*count)[:count],(e+[0.0]*count)[:count]
def transform(b,a,L,T,f1,f2):
    m=max(j for j in range(len(b)) if b[j]!=0.0 or a[j]!=0.0)
    W1=math.tan(PI*f1)
    if T>=3:
        W2=math.tan(PI*f2); Bw=W2-W1; W0s=W1*W2; deg=2*m
    else: deg=m
    nb=[0.0]*(deg+1); na=[0.0]*(deg+1)
    if T==1:
        for j in range(m+1): nb[j]=b[j]/W1**j; na[j]=a[j]/W1**j
    elif T==2:
        for j in range(m+1): nb[j]=b[m-j]/W1**j; na[j]=a[m-j]/W1**j
    elif T==3:
        for i in range(m+1):
            for j in range(i+1):
                t=(ff(i,j)/ff(j,j))*W0s**(i-j)*Bw**(m-i)
                nb[2*j+m-i]+=b[i]*t; na[2*j+m-i]+=a[i]*t
    else:
        for i in range(m+1):
            for j in range(m-i+1):
                t=(ff(m-i,j)/ff(j,j))*W0s**(m-i-j)*Bw**i
                nb[i+2*j]+=b[i]*t; na[i+2*j]+=a[i]*t
    return bilinear(nb,na,L)
def polymul(a,L,b,R):
    lb=R-L+1
    out=[]
    for j in range(R):
        s=0.0
        for i in range(L):
            t=j-i
            if 0<=t<lb: s+=a[i]*b[t]
        out.append(s)
    return out
def combine(nums,dens,S,L):
    num=nums[0][:]+[0.0]*200; den=dens[0][:]+[0.0]*200
    for i in range(S-1):
        R=(i+2)*(L-1)+1
        num=polymul(nums[i+1],L,num,R)+[0.0]*200
        den=polymul(dens[i+1],L,den,R)+[0.0]*200
    return num[:200],den[:200]
def butter(T,fs,e,ap,as_):
    if T==1 and e[1]>fs/2.56: return -1,None
    if T==4 and e[3]>fs/2.56: return -1,None
    old1=e[0]
    N,e=estimate_spec(e,fs,ap,as_,T,lambda x1,x2,k:0.5*(math.log10(x1)-math.log10(x2))/math.log10(k)+0.9)
    if T==4: e[0]=old1
    if N<3 or N>(10 if T<=2 else 15): return -1,None
    order=N if T<=2 else 2*N
    f1=e[0]/fs; f2=e[1]/fs
    S=(N+1)//2; L=5 if T>=3 else 3
    nums=[];dens=[]
    for k in range(1,S+1):
        an=[0.0]*10; ad=[0.0]*10; an[0]=1.0; ad[0]=1.0
        if k-(N+1)*0.5==0.0: ad[1]=1.0
        else: ad[1]=-2.0*math.cos((N+2*k-1)*PI/(2*N)); ad[2]=1.0
        dn,dd=transform(an,ad,L,T,f1,f2)
        dd[0]=1.0
        nums.append(dn); dens.append(dd)
    num,den=combine(nums,dens,S,L)
    return order,(num,den)
def cheb(kind,T,fs,e,ap,as_):
    N,_=estimate_spec(e,fs,ap,as_,T,lambda x1,x2,k: math.log(math.sqrt(x2/x1-1.0)+math.sqrt(x2/x1))/math.log(math.sqrt(1.0/k**2-1.0)+1.0/k)+0.9)
    if N<3 or N>(10 if T<=2 else 12): return -1,None
    D=2 if T<3 else 4
    S=(N+1)//2 if N%2 else N//2
    order=S*D; L=5 if T>=3 else 3
    q=[x/fs for x in e]
    lo=q[0] if T in (1,4) else q[1]
    hi=q[2] if T<=3 else q[3]
    u=lambda x: math.tan(PI*x)
    if T<=2: kc=u(q[1])/u(q[0])
    elif T==3:
        ulo=u(lo);uhi=u(hi)
        kc=min(abs((u(q[0])*u(q[0])-ulo*uhi)/((uhi-ulo)*u(q[0]))),abs((u(q[3])*u(q[3])-ulo*uhi)/((uhi-ulo)*u(q[3]))))
    else:
        ulo=u(lo);uhi=u(hi)
        kc=min(abs(1/((u(q[1])*u(q[1])-ulo*uhi)/((uhi-ulo)*u(q[1])))),abs(1/((u(q[2])*u(q[2])-ulo*uhi)/((uhi-ulo)*u(q[2])))))
    A=10.0**(as_/20.0)
    nums=[];dens=[]
    NN=2*S
    for i in range(S):
        th=(2*i+1)*PI/(2*NN)
        n=[0.0]*5; d=[0.0]*5
        if kind==1:
            eps=A/math.cosh(NN*math.log(math.sqrt(kc*kc-1.0)+kc))
            g=math.sqrt(eps*eps+1.0); beta=((g+1.0)/eps)**(1.0/NN)
            sg=math.sin(th)*(1.0/beta-beta)/2.0; om=math.cos(th)*(1.0/beta+beta)/2.0
            P=sg*sg+om*om; d[0]=P; d[1]=-2.0*sg; d[2]=1.0; n[0]=P
            if i==0: n[0]=P/g
        else:
            r=(A+math.sqrt(A*A-1.0))**(1.0/NN)
            sg=math.sin(th)*(1.0/r-r)/2.0; om=(1.0/r+r)/2.0*math.cos(th); dd=sg*sg+om*om
            pr=sg*kc/dd; pim=-kc*om/dd
            Z=(kc/math.cos(th))**2; P=pr*pr+pim*pim
            n[0]=Z*P; n[2]=P; d[0]=Z*P; d[1]=-2.0*pr*Z; d[2]=Z
        dn,dd_=transform(n,d,L,T,lo,hi)
        nums.append(dn); dens.append(dd_)
    num,den=combine(nums,dens,S,L)
    return order,(num,den)
def response(order,num,den,fs,n=2048):
    amp=[];ph=[];fa=[]
    for i in range(n):
        w=PI*i/n
        rb=ib=ra=ia=0.0
        for k in range(order+1):
            c=math.cos(k*w); s=math.sin(k*w)
            rb+=num[k]*c; ib-=num[k]*s; ra+=den[k]*c; ia-=den[k]*s
        m=ra*ra+ia*ia
        rh=(rb*ra+ib*ia)/m; ih=(ib*ra-rb*ia)/m
        fa.append(i*(fs*0.5/n)); amp.append(math.sqrt(rh*rh+ih*ih))
        ph.append(0.0 if abs(rh)<1e-40 else math.atan(ih/rh))
    pk=max(amp)
    amp=[x/pk for x in amp]
    for i in range(n):
        if amp[i]==0.0: amp[i]=amp[i+1] if i+1<n else amp[i-1]
    amp=[20.0*math.log10(x) for x in amp]
    return fa,amp,ph


CASES = [
    (0, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (0, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (0, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (0, 3, 1000.0, 100.0, 140.0, 250.0, 300.0, 1.0, 30.0),
    (0, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 30.0),
    (0, 1, 512.0, 100.0, 140.0, 160.0, 200.0, 0.3, 40.0),
    (1, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (1, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (1, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (1, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 30.0),
    (2, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (2, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (2, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (2, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 30.0),
    (0, 1, 512.0, 50.0, 120.0, 160.0, 200.0, 1.0, 30.0),
    (0, 1, 48000.0, 3000.0, 6000.0, 7000.0, 8000.0, 0.5, 50.0),
    (0, 2, 2000.0, 150.0, 300.0, 400.0, 500.0, 1.0, 50.0),
    (0, 4, 1000.0, 60.0, 150.0, 200.0, 350.0, 0.5, 40.0),
    (1, 1, 512.0, 50.0, 80.0, 160.0, 200.0, 0.5, 60.0),
    (1, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (2, 1, 512.0, 50.0, 80.0, 160.0, 200.0, 0.5, 60.0),
    (2, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
]


def main():
    out = []
    for method, band, fs, f1, f2, f3, f4, ap, as_ in CASES:
        e = [f1, f2, f3, f4]
        if method == 0:
            order, coefs = butter(band, fs, e, ap, as_)
        else:
            order, coefs = cheb(method, band, fs, e, ap, as_)
        out.append('case %d %d %r %r %r %r %r %r %r %d'
                   % (method, band, fs, f1, f2, f3, f4, ap, as_, order))
        if order > 0:
            num, den = coefs
            for k in range(order + 3):
                out.append('coef %d %s %s' % (k, num[k].hex(), den[k].hex()))
            fa, amp, ph = response(order, num, den, fs)
            for i in range(0, 2048, 97):
                out.append('resp %d %s %s %s' % (i, fa[i].hex(), amp[i].hex(), ph[i].hex()))
        out.append('end')
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'designs_exact.txt')
    with open(path, 'w') as f:
        f.write('\n'.join(out) + '\n')


if __name__ == '__main__':
    main()
